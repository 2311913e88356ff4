// Views scope data, one record after the other. A view must accept what the record's own decoding accepts, with the
// same size and members, except that it also refuses names which are not 8 bytes long.
#include <cstddef>
#include <cstring>
#include <new>
#include <string>

#include "agentkit/include/ScopeDataView.h"
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

/// The result of decoding the bytes as a record.
struct Decoding
{
    std::string mRefusal;  ///< empty when it accepts them
    unsigned int mSize = 0;
    QZCScopeData mRecord{
        QZCPointer<QZCScopeEvent>(new (std::nothrow) QZCScopeEvent, QZPST_Individual, QZPAT_New)};
};

Decoding decode(fuzz::Input const& aInput)
{
    Decoding decoding;
    QZCEncodableInStream in(aInput.data(), static_cast<unsigned int>(aInput.size()));
    try
    {
        decoding.mRecord.decode(in);
    }
    catch (QZCEncodingEx const& error)
    {
        decoding.mRefusal = error.what();
    }
    decoding.mSize = static_cast<unsigned int>(aInput.size()) - in.getRemaining();
    return decoding;
}

/// Encodes the members as the record does, except that a record with an empty payload has none.
void encode(qz::ScopeDataView const& aView, QZCEncodableOutStream& aOut)
{
    aOut << aView.category() << aView.subcategory() << aView.hasNames();
    if (aView.hasNames())
    {
        aView.first()->record()->encode(aOut);
        aView.second()->record()->encode(aOut);
    }
    bool const hasPayload = aView.payload() && aView.payload()->mSize != 0;
    aOut << (hasPayload ? 1u : 0u);
    if (hasPayload)
    {
        QZCBuffer payload(0u, 0u);
        payload.append(aView.payload()->mData, static_cast<unsigned int>(aView.payload()->mSize));
        aOut << payload;
    }
}

void checkMembers(qz::ScopeDataView const& aView, QZCScopeData const& aRecord)
{
    QZCEncodableOutStream ofView;
    encode(aView, ofView);
    QZCEncodableOutStream ofRecord;
    aRecord.encode(ofRecord);
    QZCBuffer const& left = ofView.getEncoded();
    QZCBuffer const& right = ofRecord.getEncoded();
    expect(left.getLength() == right.getLength() &&
               std::memcmp(static_cast<unsigned char const*>(left), static_cast<unsigned char const*>(right),
                           left.getLength()) == 0,
           "a view has the members of the record");
}

void checkRefusal(qz::ScopeDataError const& aError, fuzz::Input const& aInput, Decoding const& aDecoding)
{
    expect(aError.getCode() == 100, "a refusal has the code 100");
    expect(aError.position() <= aInput.size(), "a refusal is at a byte of the input or at its end");
    if (std::string(aError.what()).find("expected a name of 8 bytes") != std::string::npos)
    {
        expect(!aError.mayBeShort(), "more bytes do not make a name of another length whole");
        return;
    }
    expect(aDecoding.mRefusal == aError.what(), "a view refuses what the record refuses, with the same text");
    expect(aError.position() == aDecoding.mSize, "a view refuses the element that the record refuses");
}

/// @return number of bytes of the record that comes next; 0 when there is none
std::size_t checkNext(fuzz::Input const& aInput)
{
    Decoding const decoding = decode(aInput);
    try
    {
        qz::ScopeDataView const view(aInput.data(), aInput.size());
        expect(decoding.mRefusal.empty(), "a view accepts what the record accepts");
        expect(view.size() == decoding.mSize, "view and record end at the same byte");
        checkMembers(view, decoding.mRecord);
        return view.size();
    }
    catch (qz::ScopeDataError const& error)
    {
        checkRefusal(error, aInput, decoding);
        return 0;
    }
}
}  // namespace

void fuzz::check(Input aInput)
{
    while (std::size_t const size = checkNext(aInput))
    {
        aInput = Input(aInput.data() + size, aInput.size() - size);
    }
}
