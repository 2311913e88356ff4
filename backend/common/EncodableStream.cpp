#include "backend/common/include/EncodableStream.h"

#include <cstdint>
#include <cstdio>

namespace
{
/// The decoded head of an element.
struct QZCEncodedHead
{
    unsigned char mMajor;
    std::uint64_t mValue;
    unsigned int mSize;  ///< size in bytes; 0 when the head is truncated, reserved or of indefinite length
};
}  // namespace

static unsigned char const sgMajorBits = 0xe0;
static unsigned char const sgInfoBits = 0x1f;
static unsigned char const sgNegative = 0x20;
static unsigned char const sgIndefinite = 31;

QZCEncodingEx::QZCEncodingEx(char const* apMessage, unsigned int aCode) noexcept
    : QZCException(apMessage, aCode)
{
}

QZCEncodingEx::~QZCEncodingEx() noexcept {}

static QZCEncodedHead __sReadHead(unsigned char const* apBytes, unsigned int aRemaining)
{
    QZCEncodedHead head = {0, 0, 0};
    if (aRemaining == 0)
    {
        return head;
    }
    head.mMajor = apBytes[0] & sgMajorBits;
    unsigned char const info = apBytes[0] & sgInfoBits;
    if (info < QZCEncodedForm::sgFollows1)
    {
        head.mValue = info;
        head.mSize = 1;
        return head;
    }
    if (info > QZCEncodedForm::sgFollows8)
    {
        return head;
    }
    unsigned int const following = 1u << (info - QZCEncodedForm::sgFollows1);
    if (following >= aRemaining)
    {
        return head;
    }
    for (unsigned int i = 1; i <= following; ++i)
    {
        head.mValue = head.mValue << 8 | apBytes[i];
    }
    head.mSize = 1 + following;
    return head;
}

/// Describes the element at the start of apBytes.
static void __sDescribe(char* apText, std::size_t aSize, unsigned char const* apBytes,
                        unsigned int aRemaining)
{
    static char const* const sgNames[] = {
        "unsigned integer", "negative integer", "byte string", "text string", "array", "map", "tag",
        "simple value"};
    if (aRemaining == 0)
    {
        std::snprintf(apText, aSize, "the end of the input");
        return;
    }
    unsigned int const first = apBytes[0];
    char const* const name = sgNames[first >> 5];
    QZCEncodedHead const head = __sReadHead(apBytes, aRemaining);
    if (head.mSize != 0 && head.mMajor == sgNegative)
    {
        std::snprintf(apText, aSize, "%s (0x%02x)", name, first);
        return;
    }
    if (head.mSize != 0)
    {
        std::snprintf(apText, aSize, "%s %llu (0x%02x)", name, static_cast<unsigned long long>(head.mValue),
                      first);
        return;
    }
    unsigned int const info = first & sgInfoBits;
    char const* const fault = info == sgIndefinite                ? "of indefinite length"
                              : info > QZCEncodedForm::sgFollows8 ? "with a reserved head"
                                                                  : "cut in its head";
    std::snprintf(apText, aSize, "%s %s (0x%02x)", name, fault, first);
}

[[noreturn]] static void __sRefuse(unsigned char const* apBytes, unsigned int aLength, unsigned int aPosition,
                                   char const* apExpected)
{
    char found[80];
    __sDescribe(found, sizeof found, apBytes + aPosition, aLength - aPosition);
    char text[200];
    std::snprintf(text, sizeof text, "at byte %u: expected %s, found %s", aPosition, apExpected, found);
    throw QZCEncodingEx(text, 100);
}

void QZCEncodableInStream::_refuseBool() const
{
    __sRefuse(mBytes, mLength, mPosition, "a bool (0xf4 or 0xf5)");
}

unsigned int QZCEncodableInStream::_readUnsigned(unsigned int aLargest)
{
    QZCEncodedHead const head = __sReadHead(mBytes + mPosition, mLength - mPosition);
    if (head.mSize == 0 || head.mMajor != QZCEncodedForm::sgUnsigned || head.mValue > aLargest)
    {
        char expected[60];
        std::snprintf(expected, sizeof expected, "an unsigned integer up to %u", aLargest);
        __sRefuse(mBytes, mLength, mPosition, expected);
    }
    mPosition += head.mSize;
    return static_cast<unsigned int>(head.mValue);
}

unsigned int QZCEncodableInStream::_findString(unsigned int& arLength) const
{
    unsigned int const remaining = mLength - mPosition;
    QZCEncodedHead const head = __sReadHead(mBytes + mPosition, remaining);
    if (head.mSize == 0 || head.mMajor != QZCEncodedForm::sgByteString)
    {
        __sRefuse(mBytes, mLength, mPosition, "a byte string");
    }
    if (head.mValue > remaining - head.mSize)
    {
        char expected[80];
        std::snprintf(expected, sizeof expected, "a byte string of at most the %u bytes that follow",
                      remaining - head.mSize);
        __sRefuse(mBytes, mLength, mPosition, expected);
    }
    arLength = static_cast<unsigned int>(head.mValue);
    return mPosition + head.mSize;
}
