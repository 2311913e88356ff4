// Scope data with protobuf. A generated message is serialised to memory and parsed from it.
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

    explicit ProtobufCodec(ScopeContents const& aContents)
    {
        mRecord.set_category(aContents.mCategory);
        mRecord.set_subcategory(aContents.mSubcategory);
        mRecord.set_has_names(aContents.mHasNames);
        if (aContents.mHasNames)
        {
            mRecord.set_first(aContents.mFirst, ScopeContents::sNameSize);
            mRecord.set_second(aContents.mSecond, ScopeContents::sNameSize);
        }
        mRecord.set_payload(aContents.mPayload.data(), aContents.mPayload.size());
    }

    void encode(Writer& aWriter) const { mRecord.SerializeToString(&aWriter); }

    static char const* bytes(Writer const& aWriter) { return aWriter.data(); }
    static std::size_t length(Writer const& aWriter) { return aWriter.size(); }

    static bool decode(Record& aRecord, char const* aBytes, std::size_t aLength)
    {
        return aRecord.ParseFromArray(aBytes, static_cast<int>(aLength));
    }

private:
    Record mRecord;
};

BENCHMARK(encodeReused<ProtobufCodec>)->Name("ProtobufEncodeScopeData")->Apply(scopeDataShapes);
BENCHMARK(encodeFresh<ProtobufCodec>)->Name("ProtobufEncodeScopeDataFresh")->Apply(scopeDataShapes);
BENCHMARK(decodeFresh<ProtobufCodec>)->Name("ProtobufDecodeScopeData")->Apply(scopeDataShapes);
}  // namespace
