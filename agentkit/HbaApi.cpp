#include "agentkit/include/HbaApi.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <malloc.h>

#include "backend/sensor/agentcommon/include/Exceptions.h"

namespace qz
{
namespace
{
using MappingBlock = std::unique_ptr<HBA_FCPTargetMapping, BlockRelease>;

constexpr std::size_t nameBufferSize = 256;
constexpr std::size_t lunSize = 8;
constexpr std::size_t reportHeaderSize = 8;
/// The layer refuses longer lists, so it never replaces a block of this size.
constexpr std::size_t largestReport = reportHeaderSize + 4096;
constexpr HBA_UINT32 firstMappingCount = 256;
constexpr HBA_UINT32 mostMappings = 1U << 20U;
/// An adapter may discover LUNs between two queries, but not each time.
constexpr unsigned int mostGrowths = 16;
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

/// The layer does not say for how many entries it made the block.
HBA_UINT32 roomOf(HBA_FCPTargetMapping& aBlock)
{
    std::size_t const room = ::malloc_usable_size(&aBlock) - offsetof(HBA_FCPTargetMapping, entry);
    return static_cast<HBA_UINT32>(room / sizeof(HBA_FCPSCSIENTRY));
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

LunReport::LunReport() : LunReport(zeroedBlock<void>(1, largestReport), largestReport) {}

std::vector<std::array<unsigned char, 8>> LunReport::luns() const
{
    std::size_t const size = answerSize();
    std::vector<std::array<unsigned char, lunSize>> luns;
    for (std::size_t end = reportHeaderSize + lunSize; end <= size; end += lunSize)
    {
        std::copy_n(bytes().begin() + end - lunSize, lunSize, luns.emplace_back().begin());
    }
    return luns;
}

std::size_t LunReport::answerSize() const
{
    Bytes const report = bytes();
    if (report.mSize < reportHeaderSize)
    {
        return report.mSize;
    }
    std::size_t length = 0;
    for (unsigned char const* byte = report.begin(); byte != report.begin() + 4; ++byte)
    {
        length = length << 8 | *byte;
    }
    return reportHeaderSize + std::min(length, report.mSize - reportHeaderSize);
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

AdapterPorts Adapter::ports()
{
    auto const known = attributes();
    unsigned int count = 0;
    std::unique_ptr<HBA_PORTATTRIBUTES[]> ports(mLayer.HA_GetAdapterPorts(mHandle, known.get(), count));
    return AdapterPorts(std::move(ports), count);
}

TargetMappings Adapter::targetMappings()
{
    HBA_FCPTargetMapping* none = nullptr;
    MappingBlock block(mLayer.HA_GetTargetMappings(mHandle, none));
    block->NumberOfEntries = std::min(block->NumberOfEntries, roomOf(*block));
    return TargetMappings(std::move(block));
}

TargetMappings Adapter::targetMappings(std::chrono::steady_clock::time_point aDeadline)
{
    HBA_UINT32 capacity = firstMappingCount;
    unsigned int numGrowths = 0;
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
        if (status == HBA_STATUS_ERROR_MORE_DATA)
        {
            HBA_UINT32 const wanted = block->NumberOfEntries;
            if (wanted <= capacity || wanted > mostMappings || ++numGrowths > mostGrowths)
            {
                throw QZCHbaapiEx(
                    ("HBA_GetFcpTargetMapping method failed: the library asked for an implausible "
                     "number of mappings, " +
                     std::to_string(wanted) + " after room for " + std::to_string(capacity))
                        .c_str(),
                    802);
            }
            capacity = wanted;
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
    LunReport report;
    reportLuns(aPort, report);
    return report;
}

void Adapter::reportLuns(Wwn const& aPort, LunReport& aReport)
{
    // A report that was moved from has no block.
    if (aReport.mBlock == nullptr || aReport.mSize < largestReport)
    {
        aReport = LunReport();
    }
    void* block = aReport.mBlock.get();
    unsigned int size = largestReport;
    mLayer.HA_SendReportLUNs(mHandle, aPort.hbaWwn(), &block, &size);
}
}  // namespace qz
