/// @file
/// The exceptions that the library throws. Each is a kind and a fixed code; the message says the rest.
///
///     QZCException
///       QZCGenericException      errors that a caller can recover from
///         QZCInvalidEx       6
///         QZCNotAllowedEx    9
///         QZCNotFoundEx      8
///         QZCNoMemoryEx      2   also a QZCHaltEx
///         QZCExitConditionEx 19  also a QZCHaltEx
///       QZCHaltEx            1   conditions after which the caller is to stop
///       QZCLibsException         failures of an outside library
///         QZCHbaapiEx        802
///
/// All bases are virtual, so an exception of two kinds has one text and one code. Every constructor takes
/// the message, which is copied (see QZCException), and the code. No class adds data or behaviour; none
/// allocates, asserts or logs. docs/errors.md lists who throws what, and what is left behind.
/// Thread-safety: an exception object is used by one thread at a time.
#pragma once

#include "backend/common/include/Exception.h"

/// An error that the caller can recover from.
/// @ingroup exceptions
class QZCGenericException : virtual public QZCException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCGenericException(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCGenericException() noexcept override;
};

/// A condition after which the caller is to stop; code 1 when thrown itself.
/// @ingroup exceptions
class QZCHaltEx : virtual public QZCException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCHaltEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCHaltEx() noexcept override;
};

/// A failure of an outside library.
/// @ingroup exceptions
class QZCLibsException : virtual public QZCException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCLibsException(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCLibsException() noexcept override;
};

/// Memory could not be had; code 2.
/// @ingroup exceptions
class QZCNoMemoryEx : virtual public QZCGenericException, virtual public QZCHaltEx
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCNoMemoryEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCNoMemoryEx() noexcept override;
};

/// The caller cannot go on with what it set out to do; code 19.
/// @ingroup exceptions
class QZCExitConditionEx : virtual public QZCGenericException, virtual public QZCHaltEx
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCExitConditionEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCExitConditionEx() noexcept override;
};

/// A value that is not valid; code 6.
/// @ingroup exceptions
class QZCInvalidEx : virtual public QZCGenericException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCInvalidEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCInvalidEx() noexcept override;
};

/// An operation that the present state does not allow; code 9.
/// @ingroup exceptions
class QZCNotAllowedEx : virtual public QZCGenericException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCNotAllowedEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCNotAllowedEx() noexcept override;
};

/// Something that does not exist where it was looked for; code 8.
/// @ingroup exceptions
class QZCNotFoundEx : virtual public QZCGenericException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCNotFoundEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCNotFoundEx() noexcept override;
};

/// A failed call of the HBA API; code 802.
/// @ingroup exceptions
class QZCHbaapiEx : virtual public QZCLibsException
{
public:
    /// @param apMessage the text, which is copied; see QZCException::QZCException()
    /// @param aCode     the code
    QZCHbaapiEx(char const* apMessage, unsigned int aCode) noexcept;

    /// Does nothing of its own.
    ~QZCHbaapiEx() noexcept override;
};
