#include "backend/common/include/Exception.h"

#include <cstring>

QZCException::QZCException(char const* apMessage, unsigned int aCode) noexcept : mCode(aCode)
{
    std::strncpy(mMessage, apMessage != nullptr ? apMessage : "", sgCapacity - 1);
    mMessage[sgCapacity - 1] = '\0';
}

QZCException::~QZCException() noexcept {}
