// A library that is no vendor library.
extern "C" int answerToEverything() { return 42; }
