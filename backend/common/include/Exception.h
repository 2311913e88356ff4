/// @file
/// The root of the system's exceptions.
#pragma once

#include <exception>

/// Root of all exceptions of the system: a message text and a numeric code.
///
/// Every class below it derives virtually, so an exception that is of two kinds still has one text and one
/// code. It is a std::exception too, so that a generic handler sees it.
///
/// docs/errors.md lists who throws what, and whether it is logged before.
/// Thread-safety: an exception object is used by one thread at a time.
/// @ingroup exceptions
class QZCException : public std::exception
{
public:
    /// Copies the message into the object, so that it outlives the caller's text. Allocates nothing and
    /// throws nothing.
    /// @param apMessage terminated text; longer than 255 characters it is cut there; null counts as empty
    /// @param aCode     numeric code, fixed for each class that is thrown
    QZCException(char const* apMessage, unsigned int aCode) noexcept;

    /// Frees nothing: text and code are inside the object.
    ~QZCException() noexcept override;

    /// Copies text and code; throws nothing.
    QZCException(QZCException const&) noexcept = default;

    /// Takes text and code of another exception; throws nothing.
    /// @return this exception
    QZCException& operator=(QZCException const&) noexcept = default;

    /// @return the message text, valid as long as the object
    char const* what() const noexcept override { return mMessage; }

    /// @return the code given to the constructor
    unsigned int getCode() const noexcept { return mCode; }

private:
    static constexpr unsigned int sgCapacity = 256;

    char mMessage[sgCapacity];
    unsigned int mCode;
};
