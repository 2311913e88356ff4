/// @file
/// The exceptions that the library throws. Each class is one kind of error and has a fixed code. The message
/// describes the error.
///
///     QZCException
///       QZCGenericException      errors that a caller can handle
///         QZCInvalidEx       6
///         QZCNotAllowedEx    9
///         QZCNotFoundEx      8
///         QZCNoMemoryEx      2   also a QZCHaltEx
///         QZCExitConditionEx 19  also a QZCHaltEx
///       QZCHaltEx            1   conditions after which the caller should stop
///       QZCLibsException         failures of an external library
///         QZCHbaapiEx        802
///
/// All bases are virtual, so an exception of two kinds has one text and one code. Every constructor takes the
/// message, which it copies (see QZCException), and the code. No class adds data or behaviour. No class
/// allocates, asserts or logs. docs/errors.md lists which function throws which exception and the state after it.
/// Thread-safety: only one thread may use an exception object at a time.
#pragma once

#include "backend/common/include/Exception.h"

/// An error that the caller can handle.
/// @ingroup exceptions
class QZCGenericException : virtual public QZCException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCGenericException(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCGenericException() noexcept override;
};

/// A condition after which the caller should stop. The code is 1 when this class itself is thrown.
/// @ingroup exceptions
class QZCHaltEx : virtual public QZCException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCHaltEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCHaltEx() noexcept override;
};

/// A failure of an external library.
/// @ingroup exceptions
class QZCLibsException : virtual public QZCException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCLibsException(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCLibsException() noexcept override;
};

/// Memory is unavailable. The code is 2.
/// @ingroup exceptions
class QZCNoMemoryEx : virtual public QZCGenericException, virtual public QZCHaltEx
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCNoMemoryEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCNoMemoryEx() noexcept override;
};

/// The caller cannot continue its operation. The code is 19.
/// @ingroup exceptions
class QZCExitConditionEx : virtual public QZCGenericException, virtual public QZCHaltEx
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCExitConditionEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCExitConditionEx() noexcept override;
};

/// A value is invalid. The code is 6.
/// @ingroup exceptions
class QZCInvalidEx : virtual public QZCGenericException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCInvalidEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCInvalidEx() noexcept override;
};

/// The current state does not allow the operation. The code is 9.
/// @ingroup exceptions
class QZCNotAllowedEx : virtual public QZCGenericException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCNotAllowedEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCNotAllowedEx() noexcept override;
};

/// An object was not found. The code is 8.
/// @ingroup exceptions
class QZCNotFoundEx : virtual public QZCGenericException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCNotFoundEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCNotFoundEx() noexcept override;
};

/// A call of the HBA API failed. The code is 802.
/// @ingroup exceptions
class QZCHbaapiEx : virtual public QZCLibsException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCHbaapiEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing.
    ~QZCHbaapiEx() noexcept override;
};
