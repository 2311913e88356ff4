/// @file
/// One captured diagnostic event.
#pragma once

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

/// One captured diagnostic event as it travels between an agent's modules: which event it is, optionally the
/// two World Wide Names that it concerns, and its raw payload.
///
/// Event, names and payload are held through handles: a copy of a record shares them, but counts its payload
/// bytes for itself, so what is appended through one shows in the other's encoded form, not in its figures.
/// What the two names stand for is their sender's affair; they keep their roles. The constructors,
/// appendEventData() and decode() trace "Entered" and "Left"; docs/logging.md has the lines.
///
/// Encoded form: the event; a `bool` element, whether there are names; if so the first and the second name;
/// an `unsigned int` element, 1 when there is payload, else 0; if so the payload as a buffer element.
/// docs/encoded-forms.md draws it.
///
/// Errors: QZCNoMemoryEx "Out of Memory", code 2.
/// Assertions: handles that are given must be live.
/// Thread-safety: one object, and objects that share payload, are used by one thread at a time.
/// @ingroup records
class QZCScopeData
{
public:
    /// An event without names and payload. Throws nothing.
    /// @param acrEvent the event, shared
    explicit QZCScopeData(QZCPointer<QZCScopeEvent> const& acrEvent);

    /// An event with names, without payload. Throws nothing.
    /// @param acrEvent  the event, shared
    /// @param acrFirst  the first name, shared
    /// @param acrSecond the second name, shared
    QZCScopeData(QZCPointer<QZCScopeEvent> const& acrEvent, QZCPointer<QZCWorldWideName> const& acrFirst,
                 QZCPointer<QZCWorldWideName> const& acrSecond);

    /// An event with payload, without names.
    /// @param acrEvent    the event, shared
    /// @param apData      payload, copied; may be null when aLength is 0
    /// @param aLength     its number of bytes; 0 makes a record that payload cannot be appended to
    /// @param aBufferSize room to set aside for payload, in bytes
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCScopeData(QZCPointer<QZCScopeEvent> const& acrEvent, unsigned char const* apData, unsigned int aLength,
                 unsigned int aBufferSize);

    /// An event with payload and names.
    /// @param acrEvent    the event, shared
    /// @param apData      payload, copied; may be null when aLength is 0
    /// @param aLength     its number of bytes; 0 makes a record that payload cannot be appended to
    /// @param aBufferSize room to set aside for payload, in bytes
    /// @param acrFirst    the first name, shared
    /// @param acrSecond   the second name, shared
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    QZCScopeData(QZCPointer<QZCScopeEvent> const& acrEvent, unsigned char const* apData, unsigned int aLength,
                 unsigned int aBufferSize, QZCPointer<QZCWorldWideName> const& acrFirst,
                 QZCPointer<QZCWorldWideName> const& acrSecond);

    /// Shares the event, the names and the payload. Throws nothing.
    /// @param acrCopy the record to share with
    QZCScopeData(QZCScopeData const& acrCopy) = default;

    /// There is no assignment: that of an empty handle ends the process.
    QZCScopeData& operator=(QZCScopeData const& acrCopy) = delete;

    /// Lets go of what the record holds.
    virtual ~QZCScopeData();

    /// Adds payload, for all records that share it. Asserts that the record was built or decoded with
    /// payload.
    /// @param apData  bytes to copy; may be null when aLength is 0
    /// @param aLength their number
    /// @throws what QZCBuffer::append() throws; the record is then as before
    void appendEventData(unsigned char const* apData, unsigned int aLength);

    /// Writes the encoded form. Asserts that all parts that it announces are there, which holds but after a
    /// failed decode().
    /// @param arOut stream to append it to
    /// @throws what QZCEncodableOutStream throws
    void encode(QZCEncodableOutStream& arOut) const;

    /// Reads the encoded form. Names or payload that do not come are left as they were: decode into a record
    /// that was made for it. After an exception what was read before it has taken the place of what was
    /// there: the record must be decoded anew or destroyed, because it may announce names that have not come.
    /// @param arIn stream to read it from
    /// @throws QZCEncodingEx, code 100, from the stream; QZCNoMemoryEx "Out of Memory", code 2
    void decode(QZCEncodableInStream& arIn);

    /// @return the encoded form's length in bytes, for events whose numbers are below 24
    unsigned int encodeSize() const;

    /// @return number of the encoded form's elements, event and marker included
    unsigned int numEncodedElements() const;

    /// @return 16, whatever the payload; 0 in the one case that the payload's length and the names' flag add
    ///         up to 4294967293
    virtual unsigned int size() const;

    /// @return number of payload bytes
    virtual unsigned int eventDataSize() const;

private:
    void _holdEventData(unsigned char const* apData, unsigned int aLength, unsigned int aBufferSize);

    QZCPointer<QZCScopeEvent> mScopeEvent;
    QZCPointer<QZCBuffer> mEventData;
    bool mHasWwns;
    QZCPointer<QZCWorldWideName> mSecondWwn;
    QZCPointer<QZCWorldWideName> mFirstWwn;
    unsigned int mEventDataSize;
};
