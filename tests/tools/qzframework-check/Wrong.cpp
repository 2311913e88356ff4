// Faulty functions of the framework, to preload. WRONG selects the function.
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/Clib.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Logger.h"

#define BYTE_ORDER_IS_LOST 1
#define SLEEP_IS_SHORT 2
#define SETTING_EXITS 3
#define LENGTH_STAYS 4
#define EXTRACTION_ACCEPTS_ALL 5
#define LOGGER_THROWS 6
#define LOGGER_CRASHES 7
#define LOGGER_IS_SILENT 8

#if WRONG == BYTE_ORDER_IS_LOST
unsigned int ClibNtohl(unsigned int) { return 0; }
#elif WRONG == SLEEP_IS_SHORT
void ClibSleepMS(unsigned long) {}
#elif WRONG == SETTING_EXITS
void* ClibMemset(void*, int, unsigned int) { std::exit(0); }
#elif WRONG == LENGTH_STAYS
void QZCBuffer::setLength(unsigned int) {}
#elif WRONG == EXTRACTION_ACCEPTS_ALL
unsigned int QZCEncodableInStream::_readUnsigned(unsigned int) { return 0; }
#else
void PrintLogMessageWithTimeStamp(unsigned int, char const*, unsigned int, char const*, char const*,
                                  char const*, ...)
{
#if WRONG == LOGGER_THROWS
    throw std::runtime_error("no room for a line");
#elif WRONG == LOGGER_CRASHES
    std::raise(SIGKILL);
#endif
}
#endif
