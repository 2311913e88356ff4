/// @file
/// Portable C helpers. Each behaves as the standard C function of the same stem; they are the one place
/// to change when a platform's own C library cannot be trusted with the job.
///
/// All of them may be called from any thread. None allocates, throws or logs.
#pragma once

/// Copies aLength bytes from apSource to apTarget; the two areas must not overlap.
/// @return apTarget
void* ClibMemcpy(void* apTarget, void const* apSource, unsigned int aLength);

/// Sets aLength bytes at apTarget to the low 8 bits of aValue.
/// @return apTarget
void* ClibMemset(void* apTarget, int aValue, unsigned int aLength);

/// Prints into apTarget, which must have room for the whole text and its terminating NUL.
/// @return number of characters written without the NUL, or a negative value on an output error
int ClibSprintf(char* apTarget, char const* apFormat, ...) __attribute__((format(printf, 2, 3)));

/// Scans apText, a terminated string.
/// @return number of items stored, or EOF (-1) when the text ends before the first conversion
int ClibSscanf(char const* apText, char const* apFormat, ...) __attribute__((format(scanf, 2, 3)));

/// @return aValue converted from network (big-endian) to host byte order
unsigned int ClibNtohl(unsigned int aValue);

/// Blocks the calling thread for at least aMilliseconds, also when signals arrive meanwhile.
void ClibSleepMS(unsigned long aMilliseconds);
