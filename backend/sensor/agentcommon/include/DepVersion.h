/// @file
/// The version of a library or driver that the agent depends on.
#pragma once

#include "backend/common/include/QZString.h"

/// A dotted version number of up to 8 unsigned components, such as 7.2.20.6.
///
/// Comparisons use only the components that both versions have: 4.1 equals 4.1.2, and neither is less than the
/// other. A check for a minimum version that is written as "not less than 4.1.2" accepts 4.1.
///
/// Every operation except the destructor traces "Entered" and "Left". Appending also traces the value of the
/// component. docs/logging.md has the lines.
/// Assertions: a ninth component.
/// Thread-safety: only one thread may use an object at a time.
/// @ingroup records
class QZCDepVersion
{
public:
    /// Makes a version of three components. Throws nothing.
    /// @param aFirst  the most significant component
    /// @param aSecond the second component
    /// @param aThird  the least significant component
    QZCDepVersion(unsigned int aFirst, unsigned int aSecond, unsigned int aThird);

    /// Makes a version of four components. Throws nothing.
    /// @param aFirst  the most significant component
    /// @param aSecond the second component
    /// @param aThird  the third component
    /// @param aFourth the least significant component
    QZCDepVersion(unsigned int aFirst, unsigned int aSecond, unsigned int aThird, unsigned int aFourth);

    /// Parses dotted text. Each piece between dots is one component and is converted as operator<<() does. The
    /// empty text gives a single component 0.
    /// @param acrText text of at most 8 pieces (asserted)
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    explicit QZCDepVersion(QZCString const& acrText);

    /// Does nothing.
    virtual ~QZCDepVersion();

    /// Appends a component. Asserts that the version has fewer than 8. Throws nothing.
    ///
    /// The component is the decimal number at the start of the text, after optional white space and a sign. It
    /// ends at the first other character, and without digits it is 0. The component is the low 32 bits of the
    /// number as a two's complement, so -1 gives 4294967295 and 4294967297 gives 1. A number that does not fit
    /// into 64 bits is replaced by the largest or smallest 64-bit number. The result is the same on every machine.
    /// @param acrText text to convert
    /// @return this version, so that appends can be chained
    QZCDepVersion& operator<<(QZCString const& acrText);

    /// Compares the components that both versions have, starting with the first. Throws nothing.
    /// @param acrOther the other version
    /// @return whether this version is equal to, less than, or greater than the other version
    /// @{
    bool operator==(QZCDepVersion const& acrOther) const;
    bool operator<(QZCDepVersion const& acrOther) const;
    bool operator>(QZCDepVersion const& acrOther) const;
    /// @}

private:
    static constexpr unsigned int sgMaxComponents = 8;

    void _extractVersion(QZCString const& acrText);
    int _compare(QZCDepVersion const& acrOther) const;

    unsigned int mComponents[sgMaxComponents];
    unsigned int mNumComponents;
};
