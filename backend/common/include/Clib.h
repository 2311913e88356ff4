/// @file
/// Portable C helpers. Each behaves as the standard C function of the same stem; they are the one place
/// to change when a platform's own C library cannot be trusted with the job.
///
/// All of them may be called from any thread. None allocates, throws or logs.
#pragma once

/// @addtogroup services
/// @{

/// Copies bytes; the two areas must not overlap.
/// @param apTarget where to; room for aLength bytes
/// @param apSource where from
/// @param aLength  number of bytes
/// @return apTarget
void* ClibMemcpy(void* apTarget, void const* apSource, unsigned int aLength);

/// Sets bytes to one value.
/// @param apTarget where to; room for aLength bytes
/// @param aValue   the value, of which the low 8 bits are taken
/// @param aLength  number of bytes
/// @return apTarget
void* ClibMemset(void* apTarget, int aValue, unsigned int aLength);

/// Prints a text. What is printed must be known to fit: nothing bounds it.
/// @param apTarget where to; room for the whole text and its terminating NUL
/// @param apFormat printf-style format, followed by its values; never a text from outside
/// @return number of characters written without the NUL, or a negative value on an output error
int ClibSprintf(char* apTarget, char const* apFormat, ...) __attribute__((format(printf, 2, 3)));

/// Scans a text.
/// @param apText   terminated text
/// @param apFormat scanf-style format, followed by where the items go
/// @return number of items stored, or EOF (-1) when the text ends before the first conversion
int ClibSscanf(char const* apText, char const* apFormat, ...) __attribute__((format(scanf, 2, 3)));

/// Converts from network (big-endian) to host byte order.
/// @param aValue four bytes as they came
/// @return the number that they are
unsigned int ClibNtohl(unsigned int aValue);

/// Blocks the calling thread for at least aMilliseconds, also when signals arrive meanwhile.
/// @param aMilliseconds how long; 0 returns at once
void ClibSleepMS(unsigned long aMilliseconds);

/// @}
