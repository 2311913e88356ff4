/// @file
/// A library that prints to standard output in every way when it is loaded, when it is called and when the process exits.
/// HostileHbaapi.cpp loads and calls it.

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include <unistd.h>

extern "C" void printNoise(char const* aMoment)
{
    std::printf("%s: printf\n", aMoment);
    std::puts((std::string(aMoment) + ": puts").c_str());
    std::fputs((std::string(aMoment) + ": fputs\n").c_str(), stdout);
    // Not flushed here, so that the process flushes it at its exit.
    std::cout << aMoment << ": cout\n";
    std::string const text = std::string(aMoment) + ": write\n";
    if (write(STDOUT_FILENO, text.data(), text.size()) < 0)
    {
        std::abort();
    }
}

namespace
{
/// Prints when the library is loaded, when atexit() handlers run, and when the library is destroyed.
struct Noise
{
    Noise()
    {
        printNoise("load");
        std::atexit([] { printNoise("atexit"); });
    }
    ~Noise() { printNoise("destruction"); }
};

Noise const noise;
}  // namespace
