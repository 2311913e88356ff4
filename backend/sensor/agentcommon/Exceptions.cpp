#include "backend/sensor/agentcommon/include/Exceptions.h"

QZCGenericException::QZCGenericException(char const* apMessage, unsigned int aCode) noexcept
    : QZCException(apMessage, aCode)
{
}

QZCGenericException::~QZCGenericException() noexcept {}

QZCHaltEx::QZCHaltEx(char const* apMessage, unsigned int aCode) noexcept : QZCException(apMessage, aCode) {}

QZCHaltEx::~QZCHaltEx() noexcept {}

QZCLibsException::QZCLibsException(char const* apMessage, unsigned int aCode) noexcept
    : QZCException(apMessage, aCode)
{
}

QZCLibsException::~QZCLibsException() noexcept {}

QZCNoMemoryEx::QZCNoMemoryEx(char const* apMessage, unsigned int aCode) noexcept
    : QZCException(apMessage, aCode), QZCGenericException(apMessage, aCode), QZCHaltEx(apMessage, aCode)
{
}

QZCNoMemoryEx::~QZCNoMemoryEx() noexcept {}

QZCExitConditionEx::QZCExitConditionEx(char const* apMessage, unsigned int aCode) noexcept
    : QZCException(apMessage, aCode), QZCGenericException(apMessage, aCode), QZCHaltEx(apMessage, aCode)
{
}

QZCExitConditionEx::~QZCExitConditionEx() noexcept {}

QZCInvalidEx::QZCInvalidEx(char const* apMessage, unsigned int aCode) noexcept
    : QZCException(apMessage, aCode), QZCGenericException(apMessage, aCode)
{
}

QZCInvalidEx::~QZCInvalidEx() noexcept {}

QZCNotAllowedEx::QZCNotAllowedEx(char const* apMessage, unsigned int aCode) noexcept
    : QZCException(apMessage, aCode), QZCGenericException(apMessage, aCode)
{
}

QZCNotAllowedEx::~QZCNotAllowedEx() noexcept {}

QZCNotFoundEx::QZCNotFoundEx(char const* apMessage, unsigned int aCode) noexcept
    : QZCException(apMessage, aCode), QZCGenericException(apMessage, aCode)
{
}

QZCNotFoundEx::~QZCNotFoundEx() noexcept {}

QZCHbaapiEx::QZCHbaapiEx(char const* apMessage, unsigned int aCode) noexcept
    : QZCException(apMessage, aCode), QZCLibsException(apMessage, aCode)
{
}

QZCHbaapiEx::~QZCHbaapiEx() noexcept {}
