/// @file
/// The root of the system's exceptions.
#pragma once

#include <exception>

/// Root of all exceptions of the system: a message text and a numeric code.
///
/// All derived classes derive virtually, so an exception of two kinds has one text and one code. It is also a
/// std::exception, so that a generic handler catches it.
///
/// docs/errors.md lists which function throws which exception, docs/logging.md the lines that are logged before.
/// Thread-safety: only one thread may use an exception object at a time.
/// @ingroup exceptions
class QZCException : public std::exception
{
public:
    /// Copies the message into the object, so that it outlives the caller's text. Allocates nothing and
    /// throws nothing.
    /// @param apMessage NUL-terminated text, truncated after 255 characters; null is treated as empty
    /// @param aCode     numeric code, fixed for each class that is thrown
    QZCException(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing: text and code are inside the object.
    ~QZCException() noexcept override;

    /// Copies text and code. Throws nothing.
    QZCException(QZCException const&) noexcept = default;

    /// Copies text and code of another exception. Throws nothing.
    /// @return this exception
    QZCException& operator=(QZCException const&) noexcept = default;

    /// @return the message text, valid as long as the object. Both libraries export a copy of this function in
    ///         every build
    __attribute__((used)) char const* what() const noexcept override { return mMessage; }

    /// @return the code given to the constructor
    unsigned int getCode() const noexcept { return mCode; }

private:
    static constexpr unsigned int sgCapacity = 256;

    char mMessage[sgCapacity];
    unsigned int mCode;
};
