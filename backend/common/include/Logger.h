/// @file
/// The time-stamped logger, and the macros through which all code of this system writes to it.
///
/// A line looks like this; the time is UTC:
///
///     2026-05-04T12:30:00.123456Z -T- HbaapiAbs:26 HA_LoadHbaapi: Going to open HBAAPI library
///
/// An agent that wants its own logging either sets a sink, or defines PrintLogMessageWithTimeStamp itself:
/// a definition that stands before this one in the dynamic linker's search order takes its place.
#pragma once

/// @addtogroup services
/// @{

/// Severity of a log line: a single bit, so that a set of levels makes a mask.
enum QZLogLevel : unsigned int
{
    QZLL_Assertion = 1,     ///< failed assertion, just before the process ends; tag "-H-"
    QZLL_Error = 8,         ///< error, just before the matching exception is thrown; tag "-E-"
    QZLL_Notice = 32,       ///< notice, such as a load failure or a feature verdict; tag "-N-"
    QZLL_Information = 64,  ///< information, such as versions that were found; tag "-I-"
    QZLL_Trace = 128        ///< "Entered", "Left" and values worth following; tag "-T-"
};

/// Receives finished log lines. A sink is called on the thread that logs, by several threads at once if
/// several log. It must not throw, and must not log.
/// @param apContext what SetLogSink() was given
/// @param apLine    the line with its line end; aLength bytes, not terminated, valid during the call only
/// @param aLength   length in bytes
typedef void (*QZLogSink)(void* apContext, char const* apLine, unsigned int aLength);

/// Writes one line, if the level mask lets the level pass; otherwise returns before it formats anything.
///
/// The line has exactly one line end, whether or not the text brings its own; other control characters in
/// it (but tabs) become "?", so that one call is always one line. It may be of any length; only when no
/// memory can be had is it cut, at about 1,000 characters. `errno` is left as it was.
///
/// Thread-safe: lines of several threads never mix.
/// @param aLevel     severity, one of QZLogLevel
/// @param apTag      the three-character marker that belongs to the level
/// @param aLine      source line of the call
/// @param apFunction bare name of the calling method
/// @param apFile     source file of the call, as QZ_LOG_FILE gives it
/// @param apFormat   printf-style format of the text, followed by its values
void PrintLogMessageWithTimeStamp(unsigned int aLevel, char const* apTag, unsigned int aLine,
                                  char const* apFunction, char const* apFile, char const* apFormat, ...)
    __attribute__((format(printf, 6, 7)));

/// Sets which levels are written. Initially all but trace. Without level 1 a failed assertion ends the
/// process without a word. Thread-safe; calls under way may still see the mask from before.
/// @param aMask the sum of the QZLogLevel values to write; bits that are no level do no harm
void SetLogLevelMask(unsigned int aMask);

/// Tells which levels are written. Thread-safe.
/// @return the sum of their values, as SetLogLevelMask() takes it
unsigned int GetLogLevelMask();

/// Sends lines to apSink from now on; null restores the default, which writes each line to standard error
/// with one write call. Thread-safe; a call under way on another thread may still reach the sink from before,
/// so its context must stay valid until those threads have gone on.
/// @param apSink    the sink; not owned
/// @param apContext handed to the sink with each line; not owned
void SetLogSink(QZLogSink apSink, void* apContext);

/// The macros below log under the name of the function and the line that they stand in, and under the file
/// name QZ_LOG_FILE, which each file defines for itself: a source after its includes, a header after its
/// includes too and undefined again at its end.
/// @{
#define QZ_LOG(acLevel, acTag, ...) \
    PrintLogMessageWithTimeStamp(acLevel, acTag, __LINE__, __func__, QZ_LOG_FILE, __VA_ARGS__)
#define QZ_LOG_ERROR(...) QZ_LOG(QZLL_Error, "-E-", __VA_ARGS__)
#define QZ_LOG_NOTICE(...) QZ_LOG(QZLL_Notice, "-N-", __VA_ARGS__)
#define QZ_LOG_INFORMATION(...) QZ_LOG(QZLL_Information, "-I-", __VA_ARGS__)
#define QZ_LOG_TRACE(...) QZ_LOG(QZLL_Trace, "-T-", __VA_ARGS__)
#define QZ_LOG_ENTERED() QZ_LOG_TRACE("%s", "Entered")
#define QZ_LOG_LEFT() QZ_LOG_TRACE("%s", "Left")
/// @}

/// @}
