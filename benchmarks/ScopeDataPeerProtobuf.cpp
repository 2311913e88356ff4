// Scope data as protobuf: a generated message, serialised to and parsed from memory.
#include <cstddef>
#include <string>

#include <ScopeRecord.pb.h>
#include <benchmark/benchmark.h>

#include "benchmarks/ScopeDataBenchmark.h"

namespace
{
class ProtobufCodec
{
public:
    using Writer = std::string;
    using Record = scope_protobuf::Record;

    explicit ProtobufCodec(ScopeContents const& acrContents)
    {
        mRecord.set_category(acrContents.mCategory);
        mRecord.set_subcategory(acrContents.mSubcategory);
        mRecord.set_has_names(acrContents.mHasNames);
        if (acrContents.mHasNames)
        {
            mRecord.set_first(acrContents.mFirst, ScopeContents::sNameSize);
            mRecord.set_second(acrContents.mSecond, ScopeContents::sNameSize);
        }
        mRecord.set_payload(acrContents.mPayload.data(), acrContents.mPayload.size());
    }

    void encode(Writer& arWriter) const { mRecord.SerializeToString(&arWriter); }

    static char const* bytes(Writer const& acrWriter) { return acrWriter.data(); }
    static std::size_t length(Writer const& acrWriter) { return acrWriter.size(); }

    static bool decode(Record& arRecord, char const* aBytes, std::size_t aLength)
    {
        return arRecord.ParseFromArray(aBytes, static_cast<int>(aLength));
    }

private:
    Record mRecord;
};

BENCHMARK(encodeReused<ProtobufCodec>)->Name("ProtobufEncodeScopeData")->Apply(scopeDataShapes);
BENCHMARK(encodeFresh<ProtobufCodec>)->Name("ProtobufEncodeScopeDataFresh")->Apply(scopeDataShapes);
BENCHMARK(decodeFresh<ProtobufCodec>)->Name("ProtobufDecodeScopeData")->Apply(scopeDataShapes);
}  // namespace
