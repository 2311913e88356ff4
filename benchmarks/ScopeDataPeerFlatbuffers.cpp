// Scope data with flatbuffers. Encoding builds from the contents. Decoding verifies and copies into a plain record.
#include <cstddef>
#include <vector>

#include <ScopeRecord_generated.h>
#include <benchmark/benchmark.h>

#include "benchmarks/ScopeDataBenchmark.h"

namespace
{
using scope_flatbuffers::Name;

class FlatbuffersCodec
{
public:
    using Writer = flatbuffers::FlatBufferBuilder;

    struct Record
    {
        unsigned char mCategory = 0;
        unsigned char mSubcategory = 0;
        bool mHasNames = false;
        Name mFirst;
        Name mSecond;
        std::vector<unsigned char> mPayload;
    };

    explicit FlatbuffersCodec(ScopeContents const& aContents)
        : mContents(aContents), mFirst(aContents.mFirst), mSecond(aContents.mSecond)
    {
    }

    __attribute__((noinline)) void encode(Writer& aWriter) const
    {
        aWriter.Clear();
        auto const payload = aWriter.CreateVector(mContents.mPayload);
        bool const hasNames = mContents.mHasNames;
        scope_flatbuffers::FinishRecordBuffer(
            aWriter, scope_flatbuffers::CreateRecord(aWriter, mContents.mCategory, mContents.mSubcategory,
                                                     hasNames, hasNames ? &mFirst : nullptr,
                                                     hasNames ? &mSecond : nullptr, payload));
    }

    static unsigned char const* bytes(Writer const& aWriter) { return aWriter.GetBufferPointer(); }
    static std::size_t length(Writer const& aWriter) { return aWriter.GetSize(); }

    __attribute__((noinline)) static bool decode(Record& aRecord, unsigned char const* aBytes,
                                                 std::size_t aLength)
    {
        flatbuffers::Verifier verifier(aBytes, aLength);
        if (!scope_flatbuffers::VerifyRecordBuffer(verifier))
        {
            return false;
        }
        scope_flatbuffers::Record const* const record = scope_flatbuffers::GetRecord(aBytes);
        aRecord.mCategory = record->category();
        aRecord.mSubcategory = record->subcategory();
        aRecord.mHasNames = record->has_names();
        if (record->first() != nullptr && record->second() != nullptr)
        {
            aRecord.mFirst = *record->first();
            aRecord.mSecond = *record->second();
        }
        if (auto const* const payload = record->payload(); payload != nullptr)
        {
            aRecord.mPayload.assign(payload->data(), payload->data() + payload->size());
        }
        return true;
    }

private:
    ScopeContents mContents;
    Name mFirst;
    Name mSecond;
};

BENCHMARK(encodeReused<FlatbuffersCodec>)->Name("FlatbuffersEncodeScopeData")->Apply(scopeDataShapes);
BENCHMARK(encodeFresh<FlatbuffersCodec>)->Name("FlatbuffersEncodeScopeDataFresh")->Apply(scopeDataShapes);
BENCHMARK(decodeFresh<FlatbuffersCodec>)->Name("FlatbuffersDecodeScopeData")->Apply(scopeDataShapes);
}  // namespace
