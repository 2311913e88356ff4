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

// The formats that records use for each byte of a name have a fast path here, because the standard functions take ten
// times as long. A fast path that does not apply returns sgNotTaken, and the standard function does the work.
static int const sgNotTaken = -1;

/// Prints as "%02x" does.
static int __sPrintByte(char* apTarget, unsigned int aValue)
{
    static char const sgDigits[] = "0123456789abcdef";
    if (aValue > 0xff)
    {
        return sgNotTaken;
    }
    apTarget[0] = sgDigits[aValue >> 4];
    apTarget[1] = sgDigits[aValue & 0xf];
    apTarget[2] = '\0';
    return 2;
}

/// Prints a format without directives, which is its own result.
static int __sPrintText(char* apTarget, char const* apFormat)
{
    int length = 0;
    for (; apFormat[length] != '\0'; ++length)
    {
        if (apFormat[length] == '%')
        {
            return sgNotTaken;
        }
        apTarget[length] = apFormat[length];
    }
    apTarget[length] = '\0';
    return length;
}

/// @return the value of a hexadecimal digit; 16 for every other character
static unsigned int __sDigitValue(char aCharacter)
{
    if (aCharacter >= '0' && aCharacter <= '9')
    {
        return static_cast<unsigned int>(aCharacter - '0');
    }
    int const lower = aCharacter | 0x20;
    return lower >= 'a' && lower <= 'f' ? static_cast<unsigned int>(lower - 'a' + 10) : 16;
}

/// Scans as "%x" does, if the text begins with one to eight digits.
static int __sScanDigits(char const* apText, unsigned int& arValue)
{
    unsigned int const most = 8;
    unsigned int value = 0;
    unsigned int length = 0;
    unsigned int digit = __sDigitValue(apText[0]);
    for (; digit < 16 && length < most; digit = __sDigitValue(apText[length]))
    {
        value = value << 4 | digit;
        ++length;
    }
    // A zero may begin a prefix.
    bool const isPrefix = length == 1 && (apText[1] | 0x20) == 'x';
    if (length == 0 || digit < 16 || isPrefix)
    {
        return sgNotTaken;
    }
    arValue = value;
    return 1;
}

// The fast path and the standard function use separate argument lists, so that values that only the fast path reads
// stay in registers.

int ClibSprintf(char* apTarget, char const* apFormat, ...)
{
    int written;
    if (apFormat[0] == '%' && apFormat[1] == '0' && apFormat[2] == '2' && apFormat[3] == 'x' &&
        apFormat[4] == '\0')
    {
        std::va_list value;
        va_start(value, apFormat);
        written = __sPrintByte(apTarget, va_arg(value, unsigned int));
        va_end(value);
    }
    else
    {
        written = __sPrintText(apTarget, apFormat);
    }
    if (written == sgNotTaken)
    {
        std::va_list values;
        va_start(values, apFormat);
        written = std::vsprintf(apTarget, apFormat, values);
        va_end(values);
    }
    return written;
}

int ClibSscanf(char const* apText, char const* apFormat, ...)
{
    int stored = sgNotTaken;
    if (apFormat[0] == '%' && apFormat[1] == 'x' && apFormat[2] == '\0')
    {
        std::va_list target;
        va_start(target, apFormat);
        stored = __sScanDigits(apText, *va_arg(target, unsigned int*));
        va_end(target);
    }
    if (stored == sgNotTaken)
    {
        std::va_list targets;
        va_start(targets, apFormat);
        stored = std::vsscanf(apText, apFormat, targets);
        va_end(targets);
    }
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
