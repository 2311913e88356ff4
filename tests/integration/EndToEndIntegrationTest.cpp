#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include "agentkit/include/EventQueue.h"
#include "agentkit/include/ScopeEvents.h"
#include "backend/common/include/Buffer.h"
#include "backend/common/include/EncodableStream.h"
#include "backend/common/include/Pointer.h"
#include "backend/sensor/agentcommon/include/LibvqmAbs.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "backend/sensor/agentcommon/include/WorldWideName.h"
#include "simulator/include/QzEvent.h"
#include "tests/support/Bytes.h"
#include "tests/support/LogCapture.h"
#include "tests/support/QueuedEvents.h"
#include "tests/support/ScratchFolder.h"
#include "tools/qzagent/capture/CaptureWriter.h"

using testing::ElementsAre;

namespace
{
using NameHandle = QZCPointer<QZCWorldWideName>;

constexpr std::uint64_t totalEvents = 100000;

/// From category to payload size in bytes.
std::map<unsigned int, std::size_t> const sizes{{3, 64}, {4, 16}, {200, 1000}};

/// The payload of the source's event with that number.
Bytes payloadOf(std::uint32_t aNumber, std::size_t aSize)
{
    Bytes payload(aSize);
    for (std::size_t i = 0; i < aSize; ++i)
    {
        payload[i] = static_cast<unsigned char>(i < 4 ? aNumber >> (24 - 8 * i) : aNumber + i);
    }
    return payload;
}

std::uint32_t numberIn(Bytes const& aPayload)
{
    return static_cast<std::uint32_t>(aPayload.at(0)) << 24 |
           static_cast<std::uint32_t>(aPayload.at(1)) << 16 |
           static_cast<std::uint32_t>(aPayload.at(2)) << 8 | aPayload.at(3);
}

Bytes takeBuffer(QZCEncodableInStream& aIn)
{
    QZCPointer<QZCBuffer> buffer;
    aIn >> buffer;
    return bytesOf(*buffer);
}

/// A record of the capture, read element by element.
struct Record
{
    explicit Record(QZCEncodableInStream& aIn)
    {
        bool hasNames = false;
        unsigned int marker = 0;
        aIn >> mCategory >> mSubcategory >> hasNames;
        mFirst = hasNames ? takeBuffer(aIn) : Bytes();
        mSecond = hasNames ? takeBuffer(aIn) : Bytes();
        aIn >> marker;
        mPayload = marker == 1 ? takeBuffer(aIn) : Bytes();
    }

    unsigned char mCategory = 0;
    unsigned char mSubcategory = 0;
    Bytes mFirst;
    Bytes mSecond;
    Bytes mPayload;
};

class EndToEnd : public testing::Test
{
protected:
    struct Board
    {
        NameHandle mFirst;
        NameHandle mSecond;
        unsigned int mRegistration = 0;
    };

    void open()
    {
        mLibvqm.LIBVQM_LoadLibrary();
        mLibvqm.LIBVQM_Init();
        mBoards.resize(mLibvqm.LIBVQM_GetNumberOfAdapters());
        for (unsigned int number = 0; number < mBoards.size(); ++number)
        {
            mLibvqm.LIBVQM_GetAdapterInfo(number, mBoards[number].mFirst, mBoards[number].mSecond);
        }
    }

    void registerAll()
    {
        auto const any = qz::makeScopeEvent(QZ_ANY_CATEGORY, QZ_ANY_CATEGORY);
        for (unsigned int number = 0; number < mBoards.size(); ++number)
        {
            ASSERT_EQ(mLibvqm.LIBVQM_QzapiRegEvent(number, mBoards[number].mSecond, any, &mQueue,
                                                   &mBoards[number].mRegistration, &takeEvent),
                      0u);
        }
    }

    void unregisterAll()
    {
        for (unsigned int number = 0; number < mBoards.size(); ++number)
        {
            EXPECT_EQ(mLibvqm.LIBVQM_QzapiUnregEvent(number, mBoards[number].mSecond,
                                                     mBoards[number].mRegistration),
                      0u);
        }
    }

    void close()
    {
        mLibvqm.LIBVQM_Close();
        mLibvqm.LIBVQM_FreeLibrary();
    }

    /// Writes events until all are written or dropped.
    void capture(std::string const& aPath)
    {
        qzagent::CaptureWriter writer(aPath);
        qz::Event event{};
        while (writer.numberOfRecords() + mQueue.dropped() < totalEvents)
        {
            if (mQueue.pop(event))
            {
                append(writer, event);
            }
            else
            {
                pollfd queue{mQueue.descriptor(), POLLIN, 0};
                ::poll(&queue, 1, -1);
            }
        }
    }

    void append(qzagent::CaptureWriter& aWriter, qz::Event const& aEvent)
    {
        Board const& board = mBoards.at(aEvent.mHead.mBoard);
        auto const length = static_cast<unsigned int>(aEvent.mPayload.size());
        mStream.clear();
        QZCScopeData(kindOf(aEvent.mHead), aEvent.mPayload.data(), length, length, board.mFirst,
                     board.mSecond)
            .encode(mStream);
        QZCBuffer const& encoded = mStream.getEncoded();
        aWriter.append({encoded, encoded.getLength()});
    }

    QZCLibvqmAbs mLibvqm;
    std::vector<Board> mBoards;
    qz::EventQueue mQueue{65536, 64 * 1024 * 1024};
    QZCEncodableOutStream mStream;
    ScratchFolder mFolder;
};

// The layer logs the versions once per process, so this suite runs in its own process.
class EndToEndTrace : public EndToEnd
{
};

Bytes contentOf(std::string const& aPath)
{
    std::ifstream file(aPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// @return the next record, decoded and encoded again by the library
Bytes reencoded(QZCEncodableInStream& aIn)
{
    QZCScopeData data(qz::makeScopeEvent(0, 0));
    data.decode(aIn);
    QZCEncodableOutStream out;
    data.encode(out);
    return bytesOf(out.getEncoded());
}

TEST_F(EndToEnd, EveryEventIsCapturedInTheOrderOfItsSourceOrCountedAsDropped)
{
    std::string const path = mFolder.path() / "events.capture";
    open();
    ASSERT_TRUE(mLibvqm.LIBVQM_IsQzapiSupported());
    registerAll();
    capture(path);
    unregisterAll();
    close();

    Bytes const content = contentOf(path);
    std::map<unsigned int, std::uint32_t> next;
    std::uint64_t count = 0;
    for (std::size_t position = 0; position < content.size(); ++count)
    {
        auto const left = static_cast<unsigned int>(content.size() - position);
        QZCEncodableInStream in(content.data() + position, left);
        QZCEncodableInStream again(content.data() + position, left);
        Record const record(in);
        std::size_t const size = left - in.getRemaining();
        Bytes const bytes(content.begin() + static_cast<std::ptrdiff_t>(position),
                          content.begin() + static_cast<std::ptrdiff_t>(position + size));
        ASSERT_EQ(reencoded(again), bytes) << "record " << count;
        ASSERT_EQ(again.getRemaining(), in.getRemaining()) << "record " << count;

        std::uint32_t const number = numberIn(record.mPayload);
        ASSERT_EQ(record.mPayload, payloadOf(number, sizes.at(record.mCategory))) << "record " << count;
        ASSERT_GE(number, next[record.mCategory]) << "record " << count << " is late";
        next[record.mCategory] = number + 1;
        auto const board = static_cast<unsigned char>(record.mCategory == 200 ? 0x10 : 0x00);
        auto const port = static_cast<unsigned char>(board + 1);
        ASSERT_EQ(record.mFirst, (Bytes{0x20, 0, 0, 0, 0xc9, 0, 0, board})) << "record " << count;
        ASSERT_EQ(record.mSecond, (Bytes{0x10, 0, 0, 0, 0xc9, 0, 0, port})) << "record " << count;
        position += size;
    }
    EXPECT_EQ(count + mQueue.dropped(), totalEvents);
    EXPECT_GT(count, 0u);
}

/// The log lines of the layer.
std::vector<std::string> textsOf(LogCapture const& aLog)
{
    std::vector<std::string> texts;
    for (LogLine const& line : aLog.lines())
    {
        if (line.mFile == "LibvqmAbs")
        {
            texts.push_back(line.mTag + " " + line.mFunction + ": " + line.mText);
        }
    }
    return texts;
}

TEST_F(EndToEndTrace, LayerLogsEachStepInOrder)
{
    LogCapture const log;
    open();
    registerAll();
    unregisterAll();
    close();
    EXPECT_THAT(
        textsOf(log),
        ElementsAre("-T- LIBVQM_LoadLibrary: Entered", "-T- LIBVQM_LoadLibrary: Going to call dlopen",
                    "-T- LIBVQM_LoadLibrary: Call to dlopen was successful", "-T- LIBVQM_LoadLibrary: Left",
                    "-T- LIBVQM_Init: Entered", "-T- __initLibvqm: Entered", "-T- __initLibvqm: Left",
                    "-T- __processLibvqmVersion: Entered",
                    "-I- __processLibvqmVersion: Found Libvqm version : 2.1.0",
                    "-T- __processLibvqmVersion: Left", "-T- __processDriverVersion: Entered",
                    "-I- __processDriverVersion: KWRT Driver Version - 4.0.12",
                    "-T- DoesDriverSupportQzapi: Entered", "-N- DoesDriverSupportQzapi: FeatureList is 256",
                    "-N- DoesDriverSupportQzapi: Driver supports Quazor: true",
                    "-T- DoesDriverSupportQzapi: Left", "-T- __processDriverVersion: Left",
                    "-T- LIBVQM_Init: Left", "-T- LIBVQM_GetNumberOfAdapters: Entered",
                    "-T- LIBVQM_GetNumberOfAdapters: Left", "-T- LIBVQM_GetAdapterInfo: Entered",
                    "-T- LIBVQM_GetAdapterInfo: Left", "-T- LIBVQM_QzapiRegEvent: Entered",
                    "-T- LIBVQM_QzapiRegEvent: Left", "-T- LIBVQM_QzapiUnregEvent: Entered",
                    "-T- LIBVQM_QzapiUnregEvent: Left", "-T- LIBVQM_Close: Entered", "-T- LIBVQM_Close: Left",
                    "-T- LIBVQM_FreeLibrary: Entered", "-T- LIBVQM_FreeLibrary: Left"));
}
}  // namespace
