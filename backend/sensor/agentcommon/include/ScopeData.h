/// @file
/// One captured diagnostic event.
#pragma once

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

/// One captured diagnostic event that the modules of an agent pass on: the kind of event, optionally the two World
/// Wide Names that it concerns, and its raw payload.
///
/// The record holds event, names and payload through handles. A copy of a record shares them, but each record
/// counts its payload bytes separately: appended bytes appear in the encoded form of all records that share the
/// payload, but only in the sizes of the record that appended them. The sender defines the meaning of the two
/// names. The record keeps their order. The constructors, appendEventData() and decode() trace "Entered" and
/// "Left". docs/logging.md has the lines.
///
/// Encoded form: the event; a `bool` element that says whether names follow; the first and the second name if so;
/// an `unsigned int` element that is 1 if payload follows and 0 if not; the payload as a buffer element if so.
/// docs/encoded-forms.md draws it.
///
/// Errors: QZCNoMemoryEx "Out of Memory", code 2.
/// Assertions: handles that are passed in must be live.
/// Thread-safety: only one thread at a time may use a record, or records that share payload.
/// @ingroup records
class QZCScopeData
{
public:
    /// Makes a record without names and payload. Throws nothing.
    /// @param acrEvent the event, shared
    explicit QZCScopeData(QZCPointer<QZCScopeEvent> const& acrEvent);

    /// Makes a record with names and without payload. Throws nothing.
    /// @param acrEvent  the event, shared
    /// @param acrFirst  the first name, shared
    /// @param acrSecond the second name, shared
    QZCScopeData(QZCPointer<QZCScopeEvent> const& acrEvent, QZCPointer<QZCWorldWideName> const& acrFirst,
                 QZCPointer<QZCWorldWideName> const& acrSecond);

    /// Makes a record with payload and without names.
    /// @param acrEvent    the event, shared
    /// @param apData      payload, copied; may be null when aLength is 0
    /// @param aLength     number of payload bytes; 0 makes a record to which no payload can be appended
    /// @param aBufferSize number of payload bytes to reserve memory for
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCScopeData(QZCPointer<QZCScopeEvent> const& acrEvent, unsigned char const* apData, unsigned int aLength,
                 unsigned int aBufferSize);

    /// Makes a record with payload and names.
    /// @param acrEvent    the event, shared
    /// @param apData      payload, copied; may be null when aLength is 0
    /// @param aLength     number of payload bytes; 0 makes a record to which no payload can be appended
    /// @param aBufferSize number of payload bytes to reserve memory for
    /// @param acrFirst    the first name, shared
    /// @param acrSecond   the second name, shared
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCScopeData(QZCPointer<QZCScopeEvent> const& acrEvent, unsigned char const* apData, unsigned int aLength,
                 unsigned int aBufferSize, QZCPointer<QZCWorldWideName> const& acrFirst,
                 QZCPointer<QZCWorldWideName> const& acrSecond);

    /// Shares the event, the names and the payload. Throws nothing.
    /// @param acrCopy the record to share with
    QZCScopeData(QZCScopeData const& acrCopy) = default;

    /// Records are not assignable, because assigning an empty handle ends the process.
    QZCScopeData& operator=(QZCScopeData const& acrCopy) = delete;

    /// Releases the record's shares of event, names and payload.
    virtual ~QZCScopeData();

    /// Appends payload for all records that share it. Asserts that the record was built or decoded with payload.
    /// @param apData  bytes to copy; may be null when aLength is 0
    /// @param aLength number of bytes
    /// @throws std::bad_alloc, std::length_error; see QZCBuffer::append(). The record is then unchanged
    void appendEventData(unsigned char const* apData, unsigned int aLength);

    /// Writes the encoded form. Asserts that the record has all parts that the form announces, which is true except
    /// after a failed decode().
    /// @param arOut stream to append it to
    /// @throws std::bad_alloc, std::length_error; see QZCBuffer::append(). The elements that were written before
    ///         then remain in the stream: call its clear() or discard it
    void encode(QZCEncodableOutStream& arOut) const;

    /// Reads the encoded form. Names or payload that the form does not contain keep their previous values, so decode
    /// into a newly made record. After an exception the parts that were read before it are replaced: the record
    /// must be decoded again or destroyed, because it may announce names that it does not have.
    /// @param arIn stream to read it from
    /// @throws QZCEncodingEx, code 100, from the stream; QZCNoMemoryEx "Out of Memory", code 2
    void decode(QZCEncodableInStream& arIn);

    /// @return the length of the encoded form in bytes, if category and subcategory of the event are below 24
    unsigned int encodeSize() const;

    /// @return number of parts of the encoded form: event, names, marker and payload
    unsigned int numEncodedElements() const;

    /// @return always 16, except that it is 0 if the payload length plus 1 for existing names is 4294967293
    virtual unsigned int size() const;

    /// @return number of payload bytes
    virtual unsigned int eventDataSize() const;

    /// @return the event; the handle is owned by this record and changed by decode()
    QZCPointer<QZCScopeEvent> const& getScopeEvent() const;

    /// @return whether the record announces names. After a failed decode() it may announce names that it does not have
    bool hasWwns() const;

    /// @return the first name, empty in a record that never had names; the handle is owned by this record and changed
    ///         by decode()
    QZCPointer<QZCWorldWideName> const& getFirstWwn() const;

    /// @return the second name, like getFirstWwn()
    QZCPointer<QZCWorldWideName> const& getSecondWwn() const;

    /// @return the payload, empty in a record that never had payload; the handle is owned by this record and changed by
    ///         decode(). To add payload use appendEventData(), which counts it
    QZCPointer<QZCBuffer> const& getEventData() const;

private:
    void _holdEventData(unsigned char const* apData, unsigned int aLength, unsigned int aBufferSize);

    QZCPointer<QZCScopeEvent> mScopeEvent;
    QZCPointer<QZCBuffer> mEventData;
    bool mHasWwns;
    QZCPointer<QZCWorldWideName> mSecondWwn;
    QZCPointer<QZCWorldWideName> mFirstWwn;
    unsigned int mEventDataSize;
};
