// Decodes scope data, one record after the other. The encoded form of each decoded record must decode to the same
// record again.
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

/// A number below 24 is encoded in one byte, a larger one in two.
unsigned int bytesBeyondOne(unsigned char aNumber) { return aNumber < QZCEncodedForm::sgFollows1 ? 0 : 1; }

void checkSize(QZCScopeData const& aRecord, QZCBuffer const& aEncoded)
{
    QZCEncodableInStream in(aEncoded, aEncoded.getLength());
    QZCScopeEvent event;
    event.decode(in);
    expect(aEncoded.getLength() == aRecord.encodeSize() + bytesBeyondOne(event.getCategory()) +
                                       bytesBeyondOne(event.getSubcategory()),
           "encodeSize() is the encoded length, with one byte for each category number");
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
    expect(in.getRemaining() == 0, "decoding consumes the whole encoded record");
    expect(again.eventDataSize() == aRecord.eventDataSize(), "the payload size survives a round trip");

    QZCEncodableOutStream second;
    again.encode(second);
    expect(isSame(encoded, second.getEncoded()), "a decoded record encodes to the same bytes");
}

/// @return whether a record was decoded
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
        expect(error.getCode() == 100, "a refused record has the code 100");
        return false;
    }
    catch (QZCNoMemoryEx const&)
    {
        return false;
    }
    expect(aIn.getRemaining() < before, "decoding consumes bytes");
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
