#include "backend/sensor/agentcommon/include/DepVersion.h"

#include <algorithm>
#include <cstdlib>

#include "backend/common/include/Assertion.h"
#include "backend/common/include/Logger.h"
#include "backend/common/include/QZString.h"

#define QZ_LOG_FILE ".//DepVersion"

static unsigned int const sgNotFound = 4294967295u;

/// Converts as atoi() does on a machine with 64-bit `long`: the result is the low 32 bits of the number. Where
/// `long` has 32 bits, atoi() returns the largest or smallest `int` for a number that does not fit. strtoll()
/// gives the same result on every machine.
static unsigned int __sParseNumber(char const* apText)
{
    return static_cast<unsigned int>(std::strtoll(apText, nullptr, 10));
}

QZCDepVersion::QZCDepVersion(unsigned int aFirst, unsigned int aSecond, unsigned int aThird)
    : mNumComponents(3)
{
    QZ_LOG_ENTERED();
    mComponents[0] = aFirst;
    mComponents[1] = aSecond;
    mComponents[2] = aThird;
    QZ_LOG_LEFT();
}

QZCDepVersion::QZCDepVersion(unsigned int aFirst, unsigned int aSecond, unsigned int aThird,
                             unsigned int aFourth)
    : mNumComponents(4)
{
    QZ_LOG_ENTERED();
    mComponents[0] = aFirst;
    mComponents[1] = aSecond;
    mComponents[2] = aThird;
    mComponents[3] = aFourth;
    QZ_LOG_LEFT();
}

QZCDepVersion::QZCDepVersion(QZCString const& acrText) : mNumComponents(0)
{
    QZ_LOG_ENTERED();
    _extractVersion(acrText);
    QZ_LOG_LEFT();
}

QZCDepVersion::~QZCDepVersion() {}

QZCDepVersion& QZCDepVersion::operator<<(QZCString const& acrText)
{
    QZ_LOG_ENTERED();
    QZ_ASSERT(this->mNumComponents < 8);
    unsigned int const component = __sParseNumber(acrText.get());
    mComponents[mNumComponents] = component;
    ++mNumComponents;
    QZ_LOG_TRACE("Component#%u - %u", mNumComponents, component);
    QZ_LOG_LEFT();
    return *this;
}

bool QZCDepVersion::operator==(QZCDepVersion const& acrOther) const
{
    QZ_LOG_ENTERED();
    bool const isEqual = _compare(acrOther) == 0;
    QZ_LOG_LEFT();
    return isEqual;
}

bool QZCDepVersion::operator<(QZCDepVersion const& acrOther) const
{
    QZ_LOG_ENTERED();
    bool const isLess = _compare(acrOther) < 0;
    QZ_LOG_LEFT();
    return isLess;
}

bool QZCDepVersion::operator>(QZCDepVersion const& acrOther) const
{
    QZ_LOG_ENTERED();
    bool const isGreater = _compare(acrOther) > 0;
    QZ_LOG_LEFT();
    return isGreater;
}

/// @return a negative number, 0 or a positive number if this version is less, equal or greater
int QZCDepVersion::_compare(QZCDepVersion const& acrOther) const
{
    // Components that only one version has are deliberately ignored.
    unsigned int const shared = std::min(mNumComponents, acrOther.mNumComponents);
    for (unsigned int i = 0; i < shared; ++i)
    {
        if (mComponents[i] != acrOther.mComponents[i])
        {
            return mComponents[i] < acrOther.mComponents[i] ? -1 : 1;
        }
    }
    return 0;
}

void QZCDepVersion::_extractVersion(QZCString const& acrText)
{
    QZ_LOG_ENTERED();
    QZCString piece("");
    unsigned int start = 0;
    unsigned int dot;
    do
    {
        dot = acrText.find(".", start);
        // The length is the position of the dot in the whole text, so a piece may contain more than its number.
        // The conversion stops at the next dot.
        acrText.substr(piece, start, dot);
        *this << piece;
        start = dot + 1;
    } while (dot != sgNotFound);
    QZ_LOG_LEFT();
}
