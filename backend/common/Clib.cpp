#include "backend/common/include/Clib.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <arpa/inet.h>

void* ClibMemcpy(void* apTarget, void const* apSource, unsigned int aLength)
{
    return std::memcpy(apTarget, apSource, aLength);
}

void* ClibMemset(void* apTarget, int aValue, unsigned int aLength)
{
    return std::memset(apTarget, aValue, aLength);
}

int ClibSprintf(char* apTarget, char const* apFormat, ...)
{
    // A format without directives, such as the separator of a World Wide Name, is copied unchanged.
    if (std::strchr(apFormat, '%') == nullptr)
    {
        std::size_t const length = std::strlen(apFormat);
        std::memcpy(apTarget, apFormat, length + 1);
        return static_cast<int>(length);
    }
    std::va_list values;
    va_start(values, apFormat);
    int const written = std::vsprintf(apTarget, apFormat, values);
    va_end(values);
    return written;
}

int ClibSscanf(char const* apText, char const* apFormat, ...)
{
    std::va_list targets;
    va_start(targets, apFormat);
    int const stored = std::vsscanf(apText, apFormat, targets);
    va_end(targets);
    return stored;
}

unsigned int ClibNtohl(unsigned int aValue) { return ntohl(aValue); }

void ClibSleepMS(unsigned long aMilliseconds)
{
    timespec left;
    left.tv_sec = static_cast<std::time_t>(aMilliseconds / 1000);
    left.tv_nsec = static_cast<long>(aMilliseconds % 1000 * 1000000);
    while (nanosleep(&left, &left) != 0 && errno == EINTR)
    {
    }
}
