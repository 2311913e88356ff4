/// @file
/// Owners of what QZCHbaapiAbs loads, opens and hands out.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <hbaapi.h>

#include "agentkit/include/Bytes.h"
#include "agentkit/include/Wwn.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"

namespace qz
{
/// Releases a block that came from malloc.
/// @ingroup agentkit
struct BlockRelease
{
    /// @param aBlock the block, or null
    void operator()(void* aBlock) const noexcept { std::free(aBlock); }
};

/// The loaded HBA API library, freed when this object goes.
///
/// The common library refuses a second load while it is loaded, so a program has one such object at a time.
/// Thread-safety: as the HBA API library.
/// @ingroup agentkit
class HbaApi
{
public:
    /// Loads the HBA API library.
    /// @throws QZCExitConditionEx "Can't load HBAAPI library!", code 19
    HbaApi();

    /// Frees the HBA API library.
    ~HbaApi();

    HbaApi(HbaApi const&) = delete;
    HbaApi& operator=(HbaApi const&) = delete;

    /// @return the layer, for calls that this class does not have
    QZCHbaapiAbs& layer() { return mLayer; }

    /// @return how many adapters there are
    unsigned int numberOfAdapters() { return mLayer.HA_GetNumberOfAdapters(); }

    /// Reads one name, so that an adapter that fails does not hide the others: HA_GetAdapterNames() ends at the first
    /// failure.
    /// @param aIndex the adapter's index, from 0
    /// @return its name, for Adapter
    /// @throws QZCExitConditionEx "HBA_GetAdapterName method failed", code 19
    std::string adapterName(unsigned int aIndex);

private:
    QZCHbaapiAbs mLayer;
};

/// The FCP target mappings of an adapter, in a block of their own.
///
/// A block is never handed to the HBA API twice: its entry count, overwritten by the first answer, would be taken for
/// the block's capacity by the second call, and 0 would end the process.
/// @ingroup agentkit
class TargetMappings
{
public:
    /// @param aBlock a block from malloc, not null
    explicit TargetMappings(std::unique_ptr<HBA_FCPTargetMapping, BlockRelease> aBlock)
        : mBlock(std::move(aBlock))
    {
    }

    /// @return number of mappings
    std::size_t size() const { return mBlock->NumberOfEntries; }

    /// @return the first mapping
    HBA_FCPSCSIENTRY const* begin() const { return mBlock->entry; }

    /// @return the end of the mappings
    HBA_FCPSCSIENTRY const* end() const { return begin() + size(); }

private:
    std::unique_ptr<HBA_FCPTargetMapping, BlockRelease> mBlock;
};

/// The answer of a remote port to REPORT LUNS.
/// @ingroup agentkit
class LunReport
{
public:
    /// The answer in its block.
    /// @param aBlock a block from malloc, not null
    /// @param aSize  its size in bytes
    LunReport(std::unique_ptr<void, BlockRelease> aBlock, std::size_t aSize)
        : mBlock(std::move(aBlock)), mSize(aSize)
    {
    }

    /// @return the whole answer: a header of 8 bytes, which begins with the list's length, and the list
    Bytes bytes() const { return {static_cast<unsigned char const*>(mBlock.get()), mSize}; }

    /// Copies the list. A length that the block does not hold ends with the block.
    /// @return the LUNs as SCSI writes them, 8 bytes each
    std::vector<std::array<unsigned char, 8>> luns() const;

private:
    std::unique_ptr<void, BlockRelease> mBlock;
    std::size_t mSize;
};

/// An open adapter, closed when this object goes.
/// Thread-safety: as the HBA API library.
/// @ingroup agentkit
class Adapter
{
public:
    /// Opens an adapter.
    /// @param aApi  outlives this object
    /// @param aName the adapter's name, from HbaApi::adapterName(); a copy, since the standard lets the call write to it
    /// @throws QZCHbaapiEx "HBA_OpenAdapter method failed", code 802
    Adapter(HbaApi& aApi, std::string aName);

    /// Closes the adapter.
    ~Adapter();

    Adapter(Adapter const&) = delete;
    Adapter& operator=(Adapter const&) = delete;

    /// @return the handle, for calls that this class does not have
    HBA_HANDLE handle() const { return mHandle; }

    /// Makes the HBA API library read the adapter's information again.
    void refresh() { mLayer.HA_RefreshAdapter(mHandle); }

    /// @return the adapter's attributes
    /// @throws as QZCHbaapiAbs::HA_GetAdapterAttributes()
    std::unique_ptr<HBA_ADAPTERATTRIBUTES> attributes();

    /// Reads one port, so that a port that fails does not hide the others: HA_GetAdapterPorts() ends at the first
    /// failure.
    /// @param aIndex the port's index, below the attributes' NumberOfPorts
    /// @return the port's attributes
    /// @throws QZCHbaapiEx "HBA_GetAdapterPortAttributes method failed", code 802
    HBA_PORTATTRIBUTES port(unsigned int aIndex);

    /// Reads the target mappings. While the adapter is busy this waits up to five seconds.
    /// @return the mappings, of which there may be none
    /// @throws as QZCHbaapiAbs::HA_GetTargetMappings()
    TargetMappings targetMappings();

    /// Reads the target mappings, and waits for a busy adapter until a deadline only. An adapter that keeps asking for
    /// a block that is no larger is not queried further.
    /// @param aDeadline when to give up; the first query is made in any case
    /// @return the mappings, of which there may be none
    /// @throws QZCHbaapiEx "HBA_GetFcpTargetMapping method failed", code 802; QZCNoMemoryEx "Out of Memory", code 2
    TargetMappings targetMappings(std::chrono::steady_clock::time_point aDeadline);

    /// Asks a remote port for its LUNs, with room for as many as the layer accepts.
    /// @param aPort the remote port
    /// @return the answer
    /// @throws as QZCHbaapiAbs::HA_SendReportLUNs(); QZCNoMemoryEx "Out of Memory", code 2
    LunReport reportLuns(Wwn const& aPort);

private:
    QZCHbaapiAbs& mLayer;
    HBA_HANDLE const mHandle;
};
}  // namespace qz
