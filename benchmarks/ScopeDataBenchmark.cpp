// Measures scope data. The files ScopeDataPeer*.cpp measure the peers with the same contents.
#include "benchmarks/ScopeDataBenchmark.h"

#include <cstddef>
#include <new>

#include <benchmark/benchmark.h>

#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/ScopeEvent.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"

namespace
{
QZCPointer<QZCScopeEvent> makeEvent(ScopeContents const& aContents)
{
    QZCPointer<QZCScopeEvent> const event(new (std::nothrow) QZCScopeEvent, QZPST_Individual, QZPAT_New);
    unsigned char const encoded[] = {aContents.mCategory, aContents.mSubcategory};
    QZCEncodableInStream in(encoded, sizeof encoded);
    event->decode(in);
    return event;
}

QZCPointer<QZCWorldWideName> makeName(unsigned char const* aBytes)
{
    return QZCPointer<QZCWorldWideName>(new (std::nothrow) QZCWorldWideName(aBytes), QZPST_Individual,
                                        QZPAT_New);
}

QZCScopeData makeRecord(ScopeContents const& aContents)
{
    QZCPointer<QZCScopeEvent> const event = makeEvent(aContents);
    auto const length = static_cast<unsigned int>(aContents.mPayload.size());
    unsigned char const* const payload = aContents.mPayload.data();
    if (!aContents.mHasNames)
    {
        return QZCScopeData(event, payload, length, length);
    }
    return QZCScopeData(event, payload, length, length, makeName(aContents.mFirst),
                        makeName(aContents.mSecond));
}

class QzcCodec
{
public:
    using Writer = QZCEncodableOutStream;

    /// A record must always have an event, so all records share this event until they have decoded their own.
    struct Record : QZCScopeData
    {
        Record() : QZCScopeData(placeholder()) {}

        static QZCPointer<QZCScopeEvent> const& placeholder()
        {
            static QZCPointer<QZCScopeEvent> const event(new QZCScopeEvent, QZPST_Individual, QZPAT_New);
            return event;
        }
    };

    explicit QzcCodec(ScopeContents const& aContents) : mRecord(makeRecord(aContents)) {}

    void encode(Writer& aWriter) const
    {
        aWriter.clear();
        mRecord.encode(aWriter);
    }

    static unsigned char const* bytes(Writer const& aWriter) { return aWriter.getEncoded(); }
    static std::size_t length(Writer const& aWriter) { return aWriter.getEncoded().getLength(); }

    static bool decode(Record& aRecord, unsigned char const* aBytes, std::size_t aLength)
    {
        QZCEncodableInStream in(aBytes, static_cast<unsigned int>(aLength));
        aRecord.decode(in);
        return in.getRemaining() == 0;
    }

private:
    QZCScopeData mRecord;
};

class QzcBuilder
{
public:
    using Writer = QZCEncodableOutStream;

    explicit QzcBuilder(ScopeContents const& aContents)
        : mHasNames(aContents.mHasNames),
          mEvent(makeEvent(aContents)),
          mFirst(makeName(aContents.mFirst)),
          mSecond(makeName(aContents.mSecond))
    {
    }

    void buildAndEncode(unsigned char const* aBytes, std::size_t aLength, Writer& aWriter) const
    {
        auto const length = static_cast<unsigned int>(aLength);
        aWriter.clear();
        if (mHasNames)
        {
            QZCScopeData(mEvent, aBytes, length, length, mFirst, mSecond).encode(aWriter);
        }
        else
        {
            QZCScopeData(mEvent, aBytes, length, length).encode(aWriter);
        }
    }

private:
    bool mHasNames;
    QZCPointer<QZCScopeEvent> mEvent;
    QZCPointer<QZCWorldWideName> mFirst;
    QZCPointer<QZCWorldWideName> mSecond;
};

BENCHMARK(encodeReused<QzcCodec>)->Name("QZCEncodeScopeData")->Apply(scopeDataShapes);
BENCHMARK(encodeFresh<QzcCodec>)->Name("QZCEncodeScopeDataFresh")->Apply(scopeDataShapes);
BENCHMARK(buildAndEncode<QzcBuilder>)->Name("QZCBuildScopeData")->Apply(scopeDataShapes);
BENCHMARK(decodeFresh<QzcCodec>)->Name("QZCDecodeScopeData")->Apply(scopeDataShapes);
}  // namespace
