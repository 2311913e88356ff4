/// @file
/// The text value of the system.
#pragma once

#include <new>
#include <stdexcept>
#include <string>

#include "backend/common/include/Assertion.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"

#define QZ_LOG_FILE "backend/common/include/QZString"

/// A text with value semantics: every copy owns a standard string of its own on the heap.
///
/// Errors: QZCNoMemoryEx "Out of Memory", code 2, from every operation that makes a text; the object is then
/// as it was before.
/// Assertions: a position past the end given to substr(); everywhere, that the text is there, which holds for
/// every object that was built. The assertion's is the only log line.
/// Thread-safety: one object is used by one thread at a time.
/// @ingroup support
class QZCString
{
public:
    /// Copies a text.
    /// @param apText terminated text to copy; must not be null
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

    /// Copies the text; assigning an object to itself changes nothing.
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
    /// @param apText terminated text to copy; must not be null, may be a part of this very text
    /// @return this text
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCString& operator=(char const* apText)
    {
        mString = _make(apText);
        return *this;
    }

    /// @return the text, terminated, valid until the object is changed or destroyed
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

    /// Gives access to one character.
    /// @param aPosition position of a character, from 0
    /// @return the character, to read or to write, valid until the object is changed or destroyed
    /// @throws QZCInvalidEx "Invalid Value", code 6, when aPosition is not below size(); std::bad_alloc when there
    ///         is no memory to refuse it with
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

    /// Looks for a text in this one. Throws nothing.
    /// @param apText    terminated text to look for
    /// @param aPosition where to begin; past the end nothing is found
    /// @return position of the first occurrence at or after aPosition, or 4294967295 when there is none
    unsigned int find(char const* apText, unsigned int aPosition) const
    {
        QZ_ASSERT(mString != 0);
        return static_cast<unsigned int>(mString->find(apText, aPosition));
    }

    /// Copies a part of the text.
    /// @param arPart  set to the part; may be this very object
    /// @param pos     its first character; asserts that this is at most size()
    /// @param aLength its length; what goes past the end is left out
    /// @throws QZCNoMemoryEx "Out of Memory", code 2; QZCInvalidEx "Invalid Value", code 6, should the
    ///         standard string refuse the position
    void substr(QZCString& arPart, unsigned int pos, unsigned int aLength) const
    {
        QZ_ASSERT(mString != 0);
        // The condition is the logged text, so the position keeps the name that it has in the logs.
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
    /// Makes a string of what one of its constructors takes.
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
            // No memory for the characters is the same to the caller as none for the string object.
            throw QZCNoMemoryEx("Out of Memory", 2);
        }
    }

    QZCPointer<std::string> mString;
};

#undef QZ_LOG_FILE
