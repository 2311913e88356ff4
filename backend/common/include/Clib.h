/// @file
/// Portable C helpers. Each behaves as the standard C function of the same stem. A port to a platform whose C
/// library has defects changes these functions only.
///
/// All helpers may be called from any thread. None of them allocates, throws or logs.
#pragma once

/// @addtogroup services
/// @{

/// Copies bytes. The two areas must not overlap.
/// @param apTarget destination, with room for aLength bytes
/// @param apSource source
/// @param aLength  number of bytes
/// @return apTarget
void* ClibMemcpy(void* apTarget, void const* apSource, unsigned int aLength);

/// Sets bytes to one value.
/// @param apTarget destination, with room for aLength bytes
/// @param aValue   the value; only its low 8 bits are used
/// @param aLength  number of bytes
/// @return apTarget
void* ClibMemset(void* apTarget, int aValue, unsigned int aLength);

/// Prints a text. The caller must know that the text fits: its length is not limited.
/// @param apTarget destination, with room for the whole text and its terminating NUL
/// @param apFormat printf-style format, followed by its values; never a text from outside the program
/// @return number of characters written without the NUL, or a negative value on an output error
int ClibSprintf(char* apTarget, char const* apFormat, ...) __attribute__((format(printf, 2, 3)));

/// Scans a text.
/// @param apText   NUL-terminated text
/// @param apFormat scanf-style format, followed by pointers to the variables that receive the items
/// @return number of items stored, or EOF (-1) when the text ends before the first conversion
int ClibSscanf(char const* apText, char const* apFormat, ...) __attribute__((format(scanf, 2, 3)));

/// Converts from network (big-endian) to host byte order.
/// @param aValue four bytes in network byte order
/// @return the number in host byte order
unsigned int ClibNtohl(unsigned int aValue);

/// Blocks the calling thread for at least aMilliseconds, even when signals arrive during the wait.
/// @param aMilliseconds duration; 0 returns immediately
void ClibSleepMS(unsigned long aMilliseconds);

/// @}
