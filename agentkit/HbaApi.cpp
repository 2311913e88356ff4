#include "agentkit/include/HbaApi.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <thread>

#include "backend/sensor/agentcommon/include/Exceptions.h"

namespace qz
{
namespace
{
using MappingBlock = std::unique_ptr<HBA_FCPTargetMapping, BlockRelease>;

constexpr std::size_t nameBufferSize = 256;
constexpr std::size_t lunSize = 8;
constexpr std::size_t reportHeaderSize = 8;
/// The layer refuses longer lists, so a block of this size is never replaced.
constexpr std::size_t largestLunList = 4096;
constexpr HBA_UINT32 firstMappingCount = 256;
constexpr std::chrono::milliseconds busyWait{100};

template <typename Block>
std::unique_ptr<Block, BlockRelease> zeroedBlock(std::size_t aCount, std::size_t aSize)
{
    std::unique_ptr<Block, BlockRelease> block(static_cast<Block*>(std::calloc(aCount, aSize)));
    if (block == nullptr)
    {
        throw QZCNoMemoryEx("Out of Memory", 2);
    }
    return block;
}

/// @param aCapacity at least 1
MappingBlock mappingBlock(HBA_UINT32 aCapacity)
{
    // The structure has one entry, so as many structures have room for as many entries. calloc refuses a product that
    // the address space cannot hold.
    MappingBlock block = zeroedBlock<HBA_FCPTargetMapping>(aCapacity, sizeof(HBA_FCPTargetMapping));
    block->NumberOfEntries = aCapacity;
    return block;
}
}  // namespace

HbaApi::HbaApi() { mLayer.HA_LoadHbaapi(); }

HbaApi::~HbaApi() { mLayer.HA_FreeHbaapi(); }

std::string HbaApi::adapterName(unsigned int aIndex)
{
    // One byte more than the HBA API may fill, so that an unterminated name ends.
    char name[nameBufferSize + 1] = {};
    if (HBA_GetAdapterName(aIndex, name) != HBA_STATUS_OK)
    {
        throw QZCExitConditionEx("HBA_GetAdapterName method failed", 19);
    }
    return name;
}

std::vector<std::array<unsigned char, 8>> LunReport::luns() const
{
    Bytes const report = bytes();
    if (report.mSize < reportHeaderSize)
    {
        return {};
    }
    std::size_t length = 0;
    for (unsigned char const* byte = report.begin(); byte != report.begin() + 4; ++byte)
    {
        length = length << 8 | *byte;
    }
    std::vector<std::array<unsigned char, lunSize>> luns(std::min(length, report.mSize - reportHeaderSize) /
                                                         lunSize);
    for (std::size_t i = 0; i < luns.size(); ++i)
    {
        std::copy_n(report.begin() + reportHeaderSize + i * lunSize, lunSize, luns[i].begin());
    }
    return luns;
}

Adapter::Adapter(HbaApi& aApi, std::string aName)
    : mLayer(aApi.layer()), mHandle(mLayer.HA_OpenAdapter(aName.data()))
{
}

Adapter::~Adapter() { mLayer.HA_CloseAdapter(mHandle); }

std::unique_ptr<HBA_ADAPTERATTRIBUTES> Adapter::attributes()
{
    return std::unique_ptr<HBA_ADAPTERATTRIBUTES>(mLayer.HA_GetAdapterAttributes(mHandle));
}

HBA_PORTATTRIBUTES Adapter::port(unsigned int aIndex)
{
    HBA_PORTATTRIBUTES attributes = {};
    if (HBA_GetAdapterPortAttributes(mHandle, aIndex, &attributes) != HBA_STATUS_OK)
    {
        throw QZCHbaapiEx("HBA_GetAdapterPortAttributes method failed", 802);
    }
    return attributes;
}

TargetMappings Adapter::targetMappings()
{
    HBA_FCPTargetMapping* none = nullptr;
    return TargetMappings(MappingBlock(mLayer.HA_GetTargetMappings(mHandle, none)));
}

TargetMappings Adapter::targetMappings(std::chrono::steady_clock::time_point aDeadline)
{
    HBA_UINT32 capacity = firstMappingCount;
    for (;;)
    {
        MappingBlock block = mappingBlock(capacity);
        HBA_STATUS const status = HBA_GetFcpTargetMapping(mHandle, block.get());
        auto const now = std::chrono::steady_clock::now();
        if (status == HBA_STATUS_OK)
        {
            block->NumberOfEntries = std::min(block->NumberOfEntries, capacity);
            return TargetMappings(std::move(block));
        }
        if (status == HBA_STATUS_ERROR_MORE_DATA && block->NumberOfEntries > capacity)
        {
            capacity = block->NumberOfEntries;
        }
        else if (status == HBA_STATUS_ERROR_BUSY && now < aDeadline)
        {
            std::this_thread::sleep_until(std::min(now + busyWait, aDeadline));
        }
        else
        {
            throw QZCHbaapiEx("HBA_GetFcpTargetMapping method failed", 802);
        }
    }
}

LunReport Adapter::reportLuns(Wwn const& aPort)
{
    unsigned int size = reportHeaderSize + largestLunList;
    void* block = zeroedBlock<void>(1, size).release();
    // The layer may replace the block, so it is handed over as it is and owned again afterwards.
    struct Owner
    {
        ~Owner() { std::free(mBlock); }
        void*& mBlock;
    } owner{block};
    mLayer.HA_SendReportLUNs(mHandle, aPort.hbaWwn(), &block, &size);
    return LunReport(std::unique_ptr<void, BlockRelease>(std::exchange(owner.mBlock, nullptr)), size);
}
}  // namespace qz
