#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <variant>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agentkit/include/EventQueue.h"
#include "pcapng/BlockWriter.h"
#include "pcapng/Reader.h"
#include "tests/pcapng/Bytes.h"
#include "tests/support/FreshProcess.h"
#include "tests/tools/qzagent/Captures.h"
#include "tools/qzagent/capture/PcapngFile.h"
#include "tools/qzagent/cli/ErrorStream.h"
#include "tools/qzagent/cli/Report.h"
#include "tools/qzagent/watch/PcapngRecorder.h"

using qzagent::CaptureWriteError;
using qzagent::PcapngFile;
using qzagent::PcapngRecorder;
using testing::HasSubstr;

namespace
{
constexpr std::size_t sizeOfPacket = 36;  // a packet with four bytes of data and without options

/// So many packets of four bytes.
class Packets
{
public:
    explicit Packets(unsigned int aCount)
    {
        for (unsigned int i = 0; i < aCount; ++i)
        {
            mWriter.add(pcapng::PacketHead{}, {{reinterpret_cast<unsigned char const*>("data"), 4}});
        }
    }

    pcapng::Bytes bytes() const { return mWriter.bytes(); }

private:
    pcapng::BlockWriter mWriter;
};

/// What a recorder uses of its host: no boards, and a queue that drops nothing.
struct RecorderHost
{
    qzagent::RecorderSources sources() { return {mBoards, mVersions, mDrops, mClock, mReport}; }

    qzagent::WatchClock mClock;
    qzagent::ErrorStream mErrors{};
    qzagent::Report mReport{mErrors};
    qz::EventQueue mQueue{1, 1};
    qzagent::DropCounts mDrops{mQueue};
    std::vector<qzagent::Board> mBoards{};
    qzagent::LibvqmVersions mVersions{};
};

using PcapngFileTest = CaptureFixture;

TEST_F(PcapngFileTest, KeepsTheWholeBlocksOfAWriteThatFails)
{
    inFreshProcess(
        [this]
        {
            PcapngFile file(mPath);
            file.append(Packets(2).bytes());
            limitFiles(5 * sizeOfPacket + 10);
            try
            {
                file.append(Packets(9).bytes());
                FAIL() << "the file exceeds its limit";
            }
            catch (CaptureWriteError const& error)
            {
                EXPECT_EQ(std::string(error.what()),
                          "cannot write " + mPath + ": File too large; its first 180 bytes are whole blocks");
            }
            EXPECT_EQ(file.packets(), 5u);
            EXPECT_EQ(content().size(), 5 * sizeOfPacket);
        });
}

TEST_F(PcapngFileTest, KeepsWhatAnotherProcessAppended)
{
    inFreshProcess(
        [this]
        {
            PcapngFile file(mPath);
            file.append(Packets(1).bytes());
            std::ofstream(mPath, std::ios::binary | std::ios::app) << "other";
            limitFiles(2 * sizeOfPacket);
            EXPECT_THROW(file.append(Packets(1).bytes()), CaptureWriteError);
            EXPECT_EQ(content().substr(sizeOfPacket, 5), "other");
            EXPECT_EQ(content().size(), 2 * sizeOfPacket) << "the partial block remains";
        });
}

TEST_F(PcapngFileTest, ANewSectionBeginsWhenTheWallClockIsSet)
{
    RecorderHost host;
    PcapngRecorder recorder({mPath, "capture", {}, {}, std::chrono::seconds(0)}, host.sources());
    std::string const header = content();
    recorder.startSection();
    std::string const start = header.substr(0, 4);
    EXPECT_EQ(content().substr(header.size(), 4), start);
    EXPECT_EQ(recorder.written(), 0u);
    EXPECT_EQ(recorder.name(), "capture");
    EXPECT_EQ(recorder.size(), content().size());
}

/// Number of files in the folder that this process holds open although they were removed.
std::ptrdiff_t openRemovedFilesIn(std::string const& aFolder)
{
    std::filesystem::directory_iterator const descriptors("/proc/self/fd");
    return std::count_if(
        begin(descriptors), end(descriptors),
        [&](auto const& aDescriptor)
        {
            std::error_code ignored;
            std::string const file = std::filesystem::read_symlink(aDescriptor.path(), ignored).string();
            return file.rfind(aFolder, 0) == 0 && file.find(" (deleted)") != std::string::npos;
        });
}

TEST_F(PcapngFileTest, AFileThatIsNoLongerKeptIsClosed)
{
    RecorderHost host;
    PcapngRecorder recorder({mPath, "capture", qzagent::RotateLimit{1, {}}, {1, {}}, std::chrono::hours(1)},
                            host.sources());
    for (int i = 0; i < 5; ++i)
    {
        recorder.tick();
    }
    EXPECT_EQ(recorder.name(), mPath + "-00006.pcapng");
    EXPECT_EQ(openRemovedFilesIn(mFolder.path()), 0);
}

TEST_F(PcapngFileTest, TheNextFileSkipsTheNumbersOfFilesThatOthersCreate)
{
    RecorderHost host;
    PcapngRecorder recorder({mPath, "capture", qzagent::RotateLimit{1, {}}, {1, {}}, std::chrono::hours(1)},
                            host.sources());
    std::string const capture = contentOf(mPath + "-00001.pcapng");
    mFolder.write("events.capture-00002.pcapng", "a text");
    mFolder.write("events.capture-00003.pcapng", capture);
    recorder.tick();
    EXPECT_EQ(recorder.name(), mPath + "-00004.pcapng");
    recorder.tick();
    EXPECT_EQ(contentOf(mPath + "-00002.pcapng"), "a text");
    EXPECT_EQ(contentOf(mPath + "-00003.pcapng"), capture);
    EXPECT_FALSE(std::filesystem::exists(mPath + "-00004.pcapng")) << "it is no longer kept";
}

TEST_F(PcapngFileTest, AFileThatAnotherProgramOverwritesIsNotChanged)
{
    RecorderHost host;
    for (bool const isRotated : {false, true})
    {
        std::string const path = mPath + (isRotated ? "-00001.pcapng" : "");
        std::string const replacement = mPath + (isRotated ? "-00002.pcapng" : "-2");
        std::optional<qzagent::RotateLimit> const rotate =
            isRotated ? std::optional(qzagent::RotateLimit{1U << 30U, {}}) : std::nullopt;
        std::string capture;
        {
            PcapngRecorder const other({mPath + "-other", "other", {}, {}, std::chrono::seconds(0)},
                                       host.sources());
            capture = contentOf(mPath + "-other");
        }
        for (std::string const& content : {std::string("text"), std::string(100'000, 'x'), capture})
        {
            PcapngRecorder recorder({mPath, mPath, rotate, {}, std::chrono::seconds(0)}, host.sources());
            qz::QueuedEvent event{};
            event.mHead.mTime = host.mClock.now();
            recorder.take(event, nullptr);
            std::ofstream(path, std::ios::binary) << content;
            recorder.finish();
            EXPECT_EQ(contentOf(path), content);
            EXPECT_EQ(recorder.name(), replacement);
            EXPECT_EQ(recorder.written(), 1u) << "the event that was not written yet is in the other file";
            EXPECT_EQ(contentOf(replacement).substr(0, 4), "\n\r\r\n");
            EXPECT_THAT(host.mReport.document("watch", {}),
                        HasSubstr(path + " was deleted or replaced; the recording continues in " +
                                  (isRotated ? "a new file" : replacement)));
            std::filesystem::remove(path);
            std::filesystem::remove(replacement);
        }
    }
}

TEST_F(PcapngFileTest, PacketsThatWaitedWhenTheFileWasTruncatedBelongToTheNewSection)
{
    RecorderHost host;
    PcapngRecorder recorder({mPath, mPath, {}, {}, std::chrono::seconds(0)}, host.sources());
    auto const take = [&host, &recorder](unsigned int aBoard, std::uint64_t aDropped)
    {
        qz::QueuedEvent event{};
        event.mHead = {host.mClock.now(), aBoard, 3, 7};
        event.mDropped = aDropped;
        recorder.take(event, nullptr);
    };
    take(8, 0);
    take(7, 0);
    recorder.flush();
    std::filesystem::resize_file(mPath, 0);
    take(7, 2);
    take(9, 0);
    recorder.finish();

    std::ifstream file(mPath, std::ios::binary);
    MemoryInput input({std::istreambuf_iterator<char>(file), {}});
    pcapng::Reader reader(input, 1U << 20U);
    std::vector<std::string> found;
    while (std::optional<pcapng::Item> const item = reader.next())
    {
        if (auto const* const packet = std::get_if<pcapng::Packet>(&*item))
        {
            found.push_back(std::to_string(packet->mHead.mId.value()) + " of " + packet->mInterface->mName +
                            " after " + std::to_string(packet->mHead.mDropCount.value()) + " drops");
        }
        else if (auto const* const statistics = std::get_if<pcapng::Statistics>(&*item))
        {
            found.push_back(std::to_string(statistics->mReceived.value()) + " received");
        }
    }
    EXPECT_THAT(found, testing::ElementsAre("1 of board 7 after 2 drops", "2 of board 9 after 0 drops",
                                            "1 received", "1 received"));
}

TEST_F(PcapngFileTest, RecordsTimesAfter2038)
{
    static constexpr std::uint64_t seconds = 2'218'096'800;  // 2040-04-15T10:00:00Z
    auto const now = []() noexcept { return qzagent::ReceptionTime(std::chrono::seconds(seconds)); };
    RecorderHost host{qzagent::WatchClock(now, now)};
    PcapngRecorder recorder({mPath, "capture", {}, {}, std::chrono::seconds(0)}, host.sources());
    qz::QueuedEvent event{};
    event.mHead.mTime = host.mClock.now();
    recorder.take(event, nullptr);
    recorder.finish();

    std::ifstream file(mPath, std::ios::binary);
    ByteList const bytes{std::istreambuf_iterator<char>(file), {}};
    MemoryInput input(bytes);
    pcapng::Reader reader(input, bytes.size());
    std::vector<std::uint64_t> times;
    while (std::optional<pcapng::Item> const item = reader.next())
    {
        if (auto const* const packet = std::get_if<pcapng::Packet>(&*item))
        {
            times.push_back(packet->mHead.mTime);
        }
        if (auto const* const statistics = std::get_if<pcapng::Statistics>(&*item))
        {
            times.push_back(statistics->mTime);
        }
    }
    EXPECT_EQ(times, std::vector<std::uint64_t>(2, seconds * 1'000'000'000));
}
}  // namespace
