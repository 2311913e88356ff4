/// @file
/// The version of something that the agent depends on.
#pragma once

#include "backend/common/include/QZString.h"

/// A dotted version number of up to 8 unsigned components, such as 7.2.20.6.
///
/// Comparisons look at no more components than both versions have: 4.1 equals 4.1.2, and neither is less than
/// the other. So a check against a minimum written as "not less than 4.1.2" accepts 4.1.
///
/// Every operation but the destructor traces "Entered" and "Left", and each component that is parsed its
/// value; docs/logging.md has the lines.
/// Assertions: a ninth component.
/// Thread-safety: one object is used by one thread at a time.
/// @ingroup records
class QZCDepVersion
{
public:
    /// A version of three components. Throws nothing.
    /// @param aFirst  the component that weighs most
    /// @param aSecond the next one
    /// @param aThird  the one that weighs least
    QZCDepVersion(unsigned int aFirst, unsigned int aSecond, unsigned int aThird);

    /// A version of four components. Throws nothing.
    /// @param aFirst  the component that weighs most
    /// @param aSecond the next one
    /// @param aThird  the next one
    /// @param aFourth the one that weighs least
    QZCDepVersion(unsigned int aFirst, unsigned int aSecond, unsigned int aThird, unsigned int aFourth);

    /// Parses dotted text: one component for each piece between dots, by the rules of operator<<(). The empty
    /// text is a single component 0.
    /// @param acrText text of at most 8 pieces (asserted)
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    explicit QZCDepVersion(QZCString const& acrText);

    /// Does nothing of its own.
    virtual ~QZCDepVersion();

    /// Appends a component; asserts that there are less than 8. Throws nothing.
    /// @param acrText the number that it begins with, after white space and a sign, is the component: digits
    ///                up to the first other character, no digits give 0, a negative number its 32-bit
    ///                pattern, a larger number its low 32 bits; one beyond 64 bits counts as the
    ///                largest, or smallest, that they hold
    /// @return this version, so that appends chain
    QZCDepVersion& operator<<(QZCString const& acrText);

    /// Compares the components that both versions have, from the first on. Throws nothing.
    /// @param acrOther the other version
    /// @return whether this version is equal to, less than, greater than the other one
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
