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
/// allocates. Thread-safety: an exception object is used by one thread at a time.
#pragma once

#include "backend/common/include/Exception.h"

/// An error that the caller can recover from.
class QZCGenericException : virtual public QZCException
{
public:
    QZCGenericException(char const* apMessage, unsigned int aCode) noexcept;
    ~QZCGenericException() noexcept override;
};

/// A condition after which the caller is to stop; code 1 when thrown itself.
class QZCHaltEx : virtual public QZCException
{
public:
    QZCHaltEx(char const* apMessage, unsigned int aCode) noexcept;
    ~QZCHaltEx() noexcept override;
};

/// A failure of an outside library.
class QZCLibsException : virtual public QZCException
{
public:
    QZCLibsException(char const* apMessage, unsigned int aCode) noexcept;
    ~QZCLibsException() noexcept override;
};

/// Memory could not be had; code 2.
class QZCNoMemoryEx : virtual public QZCGenericException, virtual public QZCHaltEx
{
public:
    QZCNoMemoryEx(char const* apMessage, unsigned int aCode) noexcept;
    ~QZCNoMemoryEx() noexcept override;
};

/// The caller cannot go on with what it set out to do; code 19.
class QZCExitConditionEx : virtual public QZCGenericException, virtual public QZCHaltEx
{
public:
    QZCExitConditionEx(char const* apMessage, unsigned int aCode) noexcept;
    ~QZCExitConditionEx() noexcept override;
};

/// A value that is not valid; code 6.
class QZCInvalidEx : virtual public QZCGenericException
{
public:
    QZCInvalidEx(char const* apMessage, unsigned int aCode) noexcept;
    ~QZCInvalidEx() noexcept override;
};

/// An operation that the present state does not allow; code 9.
class QZCNotAllowedEx : virtual public QZCGenericException
{
public:
    QZCNotAllowedEx(char const* apMessage, unsigned int aCode) noexcept;
    ~QZCNotAllowedEx() noexcept override;
};

/// Something that does not exist where it was looked for; code 8.
class QZCNotFoundEx : virtual public QZCGenericException
{
public:
    QZCNotFoundEx(char const* apMessage, unsigned int aCode) noexcept;
    ~QZCNotFoundEx() noexcept override;
};

/// A failed call of the HBA API; code 802.
class QZCHbaapiEx : virtual public QZCLibsException
{
public:
    QZCHbaapiEx(char const* apMessage, unsigned int aCode) noexcept;
    ~QZCHbaapiEx() noexcept override;
};
