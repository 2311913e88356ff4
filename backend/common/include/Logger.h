/// @file
/// The time-stamped logger and the macros that all code of this system uses to log.
///
/// A line looks like this. The time is UTC, and N stands for the source line of the call:
///
///     2026-05-04T12:30:00.123456Z -T- HbaapiAbs:N HA_LoadHbaapi: Going to open HBAAPI library
///
/// An agent replaces the logging by setting a sink or by defining PrintLogMessageWithTimeStamp() itself. A
/// definition that precedes this one in the dynamic linker's search order replaces it.
#pragma once

/// @addtogroup services
/// @{

/// Severity of a log line. Each level is a single bit, so that a mask represents a set of levels.
enum QZLogLevel : unsigned int
{
    QZLL_Assertion = 1,     ///< failed assertion, logged just before the process ends; tag "-H-"
    QZLL_Error = 8,         ///< error, logged just before the matching exception is thrown; tag "-E-"
    QZLL_Notice = 32,       ///< notice, such as a load failure or the Quazor verdict; tag "-N-"
    QZLL_Information = 64,  ///< information, such as the versions found; tag "-I-"
    QZLL_Trace = 128        ///< "Entered", "Left" and intermediate values; tag "-T-"
};

/// Receives finished log lines. The logger calls the sink on the thread that logs, without a lock: several
/// threads may call it at once. It must not throw and must not log.
/// @param apContext the context that was passed to SetLogSink()
/// @param apLine    the line with its line end, not NUL-terminated, valid only during the call
/// @param aLength   length in bytes
typedef void (*QZLogSink)(void* apContext, char const* apLine, unsigned int aLength);

/// Logs one line if the level mask includes the level. Otherwise it returns before it formats anything.
///
/// The line has exactly one line end, whether or not the text ends with one. Other control characters except
/// tabs become "?", so that one call always makes one line. The length is not limited; when memory is
/// unavailable the line is truncated after about 1,000 characters. `errno` keeps its value.
///
/// Thread-safe: lines of several threads never mix. A forked child may log as well, even if another thread of
/// the parent was logging at the moment of the fork; a sink must then allow this as well.
/// @param aLevel     severity, one of QZLogLevel
/// @param apTag      the three-character tag of the level
/// @param aLine      source line of the call
/// @param apFunction bare name of the calling method
/// @param apFile     source file of the call, as QZ_LOG_FILE gives it
/// @param apFormat   printf-style format of the text, followed by its values
void PrintLogMessageWithTimeStamp(unsigned int aLevel, char const* apTag, unsigned int aLine,
                                  char const* apFunction, char const* apFile, char const* apFormat, ...)
    __attribute__((format(printf, 6, 7)));

/// Sets which levels are logged. Initially these are all levels except trace. Without level 1 a failed assertion
/// ends the process without a line. Thread-safe; a call that runs on another thread may still use the previous
/// mask.
/// @param aMask the sum of the QZLogLevel values to log; other bits are ignored
void SetLogLevelMask(unsigned int aMask);

/// Thread-safe.
/// @return which levels are logged: the mask of the last SetLogLevelMask()
unsigned int GetLogLevelMask();

/// Sets where lines go. The default writes each line to standard error with one write call.
///
/// Thread-safe. A sink is always called with the context that was set together with it. A call that runs on
/// another thread may still use the previous sink, so the previous context must stay valid until that call has
/// returned. For each distinct pair of sink and context the logger keeps a few bytes until the process ends.
/// @param apSink    the sink, not owned; null restores the default
/// @param apContext passed to the sink with each line, not owned
/// @throws std::bad_alloc when memory for a new pair is unavailable; lines then go where they went before
void SetLogSink(QZLogSink apSink, void* apContext);

/// The macros below log the function and the source line that contain them, and the file name QZ_LOG_FILE. Each
/// file that logs defines QZ_LOG_FILE after its includes. A header undefines it at its end.
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
