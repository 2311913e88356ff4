/// @file
/// A library that links the libraries under test, as a plugin of an agent does. Opening it opens them.
#pragma once

/// Encodes and decodes a record, counts the log lines and catches the exceptions of the libraries.
/// @return whether every step had the expected result
extern "C" bool useLibraries();
