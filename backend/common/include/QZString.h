/// @file
/// The text value.
#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "backend/common/include/Assertion.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE "backend/common/include/QZString"

/// A text with value semantics: every object owns a separate standard string on the heap.
///
/// Errors: every operation that makes a text throws QZCNoMemoryEx "Out of Memory", code 2, when memory is
/// unavailable. The object is then unchanged.
/// Assertions: substr() asserts its position. Every operation asserts that the object holds a text, which is true
/// for every constructed object. The line of the assertion is the only line that is logged.
/// Thread-safety: only one thread may use an object at a time.
/// @ingroup support
class QZCString
{
public:
    /// Copies a text.
    /// @param apText NUL-terminated text to copy; must not be null
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCString(char const* apText) : mString(_make(apText)) {}

    /// Copies the text.
    /// @param acrCopy the text to copy
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCString(QZCString const& acrCopy)
    {
        QZ_ASSERT(acrCopy.mString != 0);
        mString = _make(*acrCopy.mString);
    }

    /// Frees the text.
    ~QZCString() {}

    /// Copies the text. Assigning an object to itself changes nothing.
    /// @param acrCopy the text to copy
    /// @return this text
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCString& operator=(QZCString const& acrCopy)
    {
        if (this != &acrCopy)
        {
            mString = _make(*acrCopy.mString);
        }
        return *this;
    }

    /// Copies a text.
    /// @param apText NUL-terminated text to copy; must not be null, may be a part of this text
    /// @return this text
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCString& operator=(char const* apText)
    {
        mString = _make(apText);
        return *this;
    }

    /// @return the text, NUL-terminated, valid until the object is changed or destroyed
    /// @{
    char const* get() { return static_cast<QZCString const&>(*this).get(); }

    char const* get() const
    {
        QZ_ASSERT(mString != 0);
        return mString->c_str();
    }
    /// @}

    /// @return number of characters
    unsigned int size() const
    {
        QZ_ASSERT(mString != 0);
        return static_cast<unsigned int>(mString->size());
    }

    /// Compares the characters as unsigned bytes, from the first on. A NUL is a character like any other. Throws
    /// nothing.
    /// @param acrOther the text to compare with
    /// @return whether the texts are equal or different, or this one comes first
    /// @{
    bool operator==(QZCString const& acrOther) const
    {
        return _compare(acrOther.get(), acrOther.size()) == 0;
    }
    bool operator!=(QZCString const& acrOther) const
    {
        return _compare(acrOther.get(), acrOther.size()) != 0;
    }
    bool operator<(QZCString const& acrOther) const { return _compare(acrOther.get(), acrOther.size()) < 0; }
    /// @}

    /// Compares with a text, without copying it. Throws nothing.
    /// @param apOther terminated text to compare with; must not be null
    /// @return whether the texts are equal or different, or this one comes first
    /// @{
    bool operator==(char const* apOther) const { return _compare(apOther, std::strlen(apOther)) == 0; }
    bool operator!=(char const* apOther) const { return _compare(apOther, std::strlen(apOther)) != 0; }
    bool operator<(char const* apOther) const { return _compare(apOther, std::strlen(apOther)) < 0; }
    /// @}

    /// Gives access to one character.
    /// @param aPosition position of a character, from 0
    /// @return the character, valid until the object is changed or destroyed
    /// @throws QZCInvalidEx "Invalid Value", code 6, when aPosition is not below size(); std::bad_alloc when memory
    ///         for the standard string's own exception is unavailable
    /// @{
    char& at(unsigned int aPosition)
    {
        QZ_ASSERT(mString != 0);
        try
        {
            return mString->at(aPosition);
        }
        catch (std::out_of_range const&)
        {
            throw QZCInvalidEx("Invalid Value", 6);
        }
    }

    char const& at(unsigned int aPosition) const { return const_cast<QZCString&>(*this).at(aPosition); }
    /// @}

    /// Searches for a text. Throws nothing.
    /// @param apText    NUL-terminated text to search for
    /// @param aPosition where the search begins; nothing is found past the end
    /// @return position of the first occurrence at or after aPosition, or 4294967295 when there is none
    unsigned int find(char const* apText, unsigned int aPosition) const
    {
        QZ_ASSERT(mString != 0);
        return static_cast<unsigned int>(mString->find(apText, aPosition));
    }

    /// Copies a part of the text.
    /// @param arPart  set to the part; may be this object
    /// @param pos     position of the first character; asserts that it is at most size()
    /// @param aLength length of the part; a part that extends past the end is truncated
    /// @throws QZCNoMemoryEx "Out of Memory", code 2; QZCInvalidEx "Invalid Value", code 6, if the standard
    ///         string refuses the position, which the assertion rules out
    void substr(QZCString& arPart, unsigned int pos, unsigned int aLength) const
    {
        QZ_ASSERT(mString != 0);
        // The assertion logs its condition, so the parameter keeps the name that logs contain.
        QZ_ASSERT(pos <= mString->size());
        try
        {
            arPart.mString = _make(*mString, pos, aLength);
        }
        catch (std::out_of_range const&)
        {
            throw QZCInvalidEx("Invalid Value", 6);  // GCOVR_EXCL_LINE: the assertion has ended the process
        }
    }

private:
    int _compare(char const* apOther, std::size_t aSize) const
    {
        QZ_ASSERT(mString != 0);
        return mString->compare(0, std::string::npos, apOther, aSize);
    }

    /// Makes a string from the arguments of one of its constructors.
    template <typename... Arguments>
    static QZCPointer<std::string> _make(Arguments const&... acrArguments)
    {
        try
        {
            std::string* const text = new (std::nothrow) std::string(acrArguments...);
            return QZCPointer<std::string>(text, QZPST_Individual, QZPAT_New);
        }
        catch (std::bad_alloc const&)
        {
            // The caller does not distinguish missing memory for the characters from missing memory for the object.
            throw QZCNoMemoryEx("Out of Memory", 2);
        }
    }

    QZCPointer<std::string> mString;
};

#undef QZ_LOG_FILE
