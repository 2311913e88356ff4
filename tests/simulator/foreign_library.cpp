// A library that is not an HBA library.
extern "C" int answerToEverything() { return 42; }
