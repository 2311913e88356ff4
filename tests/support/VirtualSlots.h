/// @file
/// Lists the functions of an object's virtual table, so that a test can pin their order.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Demangles a C++ name such as that of typeid(). Any other text is returned unchanged.
std::string demangled(char const* aName);

/// Returns the names of the functions in the first slots of an object's virtual table (Itanium C++ ABI), such as
/// "QZCBuffer::byte(unsigned int) const". The complete and the deleting destructor are both
/// "QZCBuffer::~QZCBuffer()". A function without an exported name is "unnamed function": a test program that
/// defines virtual functions itself must be linked with ENABLE_EXPORTS.
/// @param aObject a polymorphic object, as a pointer to the class of the table
/// @param aCount  number of slots to read; the table must have that many
std::vector<std::string> virtualSlots(void const* aObject, std::size_t aCount);
