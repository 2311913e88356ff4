/// @file
/// Reads which functions stand in an object's virtual table, so that a test can pin their order.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// The C++ name behind a mangled one, such as typeid() gives; a name that is none comes back as it is.
std::string demangled(char const* aName);

/// Names the functions in the first slots of an object's virtual table (Itanium C++ ABI), as
/// "QZCBuffer::byte(unsigned int) const"; the complete and the deleting destructor both read
/// "QZCBuffer::~QZCBuffer()". A slot whose function has no exported name reads "unnamed function":
/// a test program that defines functions of the table itself must be linked with ENABLE_EXPORTS.
/// @param aObject a polymorphic object, seen as the class whose table is wanted
/// @param aCount  slots to read; the table must have that many
std::vector<std::string> virtualSlots(void const* aObject, std::size_t aCount);
