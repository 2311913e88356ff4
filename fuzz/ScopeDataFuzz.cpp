// Decodes scope data, one record after the other. What was decoded must encode to a form that decodes to
// itself.
#include <cstddef>
#include <cstring>
#include <new>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/Exceptions.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "fuzz/Fuzz.h"

namespace
{
using fuzz::expect;

QZCScopeData emptyRecord()
{
    return QZCScopeData(
        QZCPointer<QZCScopeEvent>(new (std::nothrow) QZCScopeEvent, QZPST_Individual, QZPAT_New));
}

bool isSame(QZCBuffer const& aLeft, QZCBuffer const& aRight)
{
    return aLeft.getLength() == aRight.getLength() &&
           std::memcmp(static_cast<unsigned char const*>(aLeft), static_cast<unsigned char const*>(aRight),
                       aLeft.getLength()) == 0;
}

/// A number below 24 takes one byte, a larger one two.
unsigned int bytesBeyondOne(unsigned char aNumber) { return aNumber < QZCEncodedForm::sgFollows1 ? 0 : 1; }

void checkSize(QZCScopeData const& aRecord, QZCBuffer const& aEncoded)
{
    QZCEncodableInStream in(aEncoded, aEncoded.getLength());
    QZCScopeEvent event;
    event.decode(in);
    expect(aEncoded.getLength() == aRecord.encodeSize() + bytesBeyondOne(event.getCategory()) +
                                       bytesBeyondOne(event.getSubcategory()),
           "encodeSize() is the length of the encoded form");
}

void checkRoundTrip(QZCScopeData const& aRecord)
{
    QZCEncodableOutStream first;
    aRecord.encode(first);
    QZCBuffer const& encoded = first.getEncoded();
    checkSize(aRecord, encoded);

    QZCScopeData again = emptyRecord();
    QZCEncodableInStream in(encoded, encoded.getLength());
    again.decode(in);
    expect(in.getRemaining() == 0, "an encoded record is read to its end");
    expect(again.eventDataSize() == aRecord.eventDataSize(), "the payload's size survives encoding");

    QZCEncodableOutStream second;
    again.encode(second);
    expect(isSame(encoded, second.getEncoded()), "an encoded record decodes to the same encoding");
}

/// @return whether there was a record
bool checkNext(QZCEncodableInStream& aIn)
{
    unsigned int const before = aIn.getRemaining();
    QZCScopeData record = emptyRecord();
    try
    {
        record.decode(aIn);
    }
    catch (QZCEncodingEx const& error)
    {
        expect(error.getCode() == 100, "a refusal has the code 100");
        return false;
    }
    catch (QZCNoMemoryEx const&)
    {
        return false;
    }
    expect(aIn.getRemaining() < before, "a record takes bytes");
    checkRoundTrip(record);
    return true;
}
}  // namespace

void fuzz::check(Input aInput)
{
    QZCEncodableInStream in(aInput.data(), static_cast<unsigned int>(aInput.size()));
    while (checkNext(in))
    {
    }
}
