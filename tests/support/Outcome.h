/// @file
/// The outcome of an action as a text that a test can compare, and the number of its allocations.
#pragma once

#include <exception>
#include <string>
#include <typeinfo>

#include "backend/common/include/Exception.h"
#include "tests/support/AllocationFailure.h"
#include "tests/support/VirtualSlots.h"

constexpr char done[] = "done";
constexpr char outOfMemory[] = "QZCNoMemoryEx 2: Out of Memory";
constexpr char badAlloc[] = "std::bad_alloc: std::bad_alloc";

/// Runs the action. Returns "done", or the exception that ended it: "QZCInvalidEx 6: Invalid Value" for a
/// QZCException, "std::out_of_range: the text" for others.
template <typename Action>
std::string outcomeOf(Action const& aAction)
{
    try
    {
        aAction();
    }
    catch (QZCException const& error)
    {
        return demangled(typeid(error).name()) + ' ' + std::to_string(error.getCode()) + ": " + error.what();
    }
    catch (std::exception const& error)
    {
        return demangled(typeid(error).name()) + ": " + error.what();
    }
    return done;
}

/// Like outcomeOf(), while the allocation with that number, counted from 1, fails.
template <typename Action>
std::string outcomeWithoutMemory(unsigned int aFailing, Action const& aAction)
{
    AllocationFailure const failure(aFailing);
    return outcomeOf(aAction);
}

/// Number of allocations that the action makes.
template <typename Action>
unsigned int allocationsOf(Action const& aAction)
{
    AllocationFailure const counter(0);
    aAction();
    return counter.allocations();
}
