/// @file
/// Owners of what QZCHbaapiAbs loads, opens and allocates.
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

/// Loads the common library of the HBA API, and frees it in the destructor.
///
/// The common library refuses a second load while it is loaded, so only one such object may exist at a time.
/// Thread-safety: that of the common library.
/// @ingroup agentkit
class HbaApi
{
public:
    /// Loads the common library.
    /// @throws QZCExitConditionEx "Can't load HBAAPI library!", code 19
    HbaApi();

    /// Frees the common library.
    ~HbaApi();

    HbaApi(HbaApi const&) = delete;
    HbaApi& operator=(HbaApi const&) = delete;

    /// @return the layer, for calls that this class does not have
    QZCHbaapiAbs& layer() { return mLayer; }

    /// @return number of adapters
    unsigned int numberOfAdapters() { return mLayer.HA_GetNumberOfAdapters(); }

    /// Reads one name. HA_GetAdapterNames() ends at the first failure; this function lets the caller skip a failing
    /// adapter. It logs nothing.
    /// @param aIndex the adapter's index, from 0
    /// @return its name, for Adapter
    /// @throws QZCExitConditionEx "HBA_GetAdapterName method failed", code 19
    std::string adapterName(unsigned int aIndex);

private:
    QZCHbaapiAbs mLayer;
};

/// The attributes of all ports of an adapter.
/// @ingroup agentkit
class AdapterPorts
{
public:
    /// @param aPorts an array from HA_GetAdapterPorts()
    /// @param aCount its number of ports
    AdapterPorts(std::unique_ptr<HBA_PORTATTRIBUTES[]> aPorts, std::size_t aCount)
        : mPorts(std::move(aPorts)), mCount(aCount)
    {
    }

    /// @return number of ports; 0 after they were moved
    std::size_t size() const { return mPorts == nullptr ? 0 : mCount; }

    /// @return the first port
    HBA_PORTATTRIBUTES const* begin() const { return mPorts.get(); }

    /// @return the end of the ports
    HBA_PORTATTRIBUTES const* end() const { return begin() + size(); }

private:
    std::unique_ptr<HBA_PORTATTRIBUTES[]> mPorts;
    std::size_t mCount;
};

/// The FCP target mappings of an adapter, with the block that contains them.
///
/// Each query uses a new block. The first answer overwrites the entry count of the block, and a second query would read
/// that count as the capacity. A capacity of 0 ends the process.
/// @ingroup agentkit
class TargetMappings
{
public:
    /// @param aBlock a block from malloc, not null
    explicit TargetMappings(std::unique_ptr<HBA_FCPTargetMapping, BlockRelease> aBlock)
        : mBlock(std::move(aBlock))
    {
    }

    /// @return number of mappings; 0 after they were moved
    std::size_t size() const { return mBlock == nullptr ? 0 : mBlock->NumberOfEntries; }

    /// @return the first mapping
    HBA_FCPSCSIENTRY const* begin() const { return mBlock == nullptr ? nullptr : mBlock->entry; }

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
    /// An empty list, with room for the longest list that the layer accepts.
    /// @throws QZCNoMemoryEx "Out of Memory", code 2
    LunReport();

    /// The answer in its block.
    /// @param aBlock a block from malloc, not null
    /// @param aSize  its size in bytes
    LunReport(std::unique_ptr<void, BlockRelease> aBlock, std::size_t aSize)
        : mBlock(std::move(aBlock)), mSize(aSize)
    {
    }

    /// @return the block: a header of 8 bytes, which begins with the list's length, the list, and unused room. Nothing
    ///         after the report was moved
    Bytes bytes() const
    {
        return {static_cast<unsigned char const*>(mBlock.get()), mBlock == nullptr ? 0 : mSize};
    }

    /// Copies the list. A list that is longer than the block is truncated.
    /// @return the LUNs in the encoding of SCSI, 8 bytes each
    std::vector<std::array<unsigned char, 8>> luns() const;

    /// @return number of bytes of the header and the list; a list that is longer than the block is truncated
    std::size_t answerSize() const;

private:
    friend class Adapter;

    std::unique_ptr<void, BlockRelease> mBlock;
    std::size_t mSize;
};

/// Opens an adapter, and closes it in the destructor.
/// Thread-safety: that of the common library.
/// @ingroup agentkit
class Adapter
{
public:
    /// Opens an adapter.
    /// @param aApi  must outlive this object
    /// @param aName the adapter's name, from HbaApi::adapterName(); copied, because the call may modify it
    /// @throws QZCHbaapiEx "HBA_OpenAdapter method failed", code 802
    Adapter(HbaApi& aApi, std::string aName);

    /// Closes the adapter.
    ~Adapter();

    Adapter(Adapter const&) = delete;
    Adapter& operator=(Adapter const&) = delete;

    /// @return the handle, for calls that this class does not have
    HBA_HANDLE handle() const { return mHandle; }

    /// Makes the common library read the adapter's information again.
    void refresh() { mLayer.HA_RefreshAdapter(mHandle); }

    /// @return the adapter's attributes
    /// @throws as QZCHbaapiAbs::HA_GetAdapterAttributes()
    std::unique_ptr<HBA_ADAPTERATTRIBUTES> attributes();

    /// Reads one port. HA_GetAdapterPorts() ends at the first failure; this function lets the caller skip a failing
    /// port. It logs nothing.
    /// @param aIndex the port's index, below the attributes' NumberOfPorts
    /// @return the port's attributes
    /// @throws QZCHbaapiEx "HBA_GetAdapterPortAttributes method failed", code 802
    HBA_PORTATTRIBUTES port(unsigned int aIndex);

    /// Reads the adapter's attributes, and then all ports. Ends at the first port that fails.
    /// @return the ports, at least one
    /// @throws as attributes() and as QZCHbaapiAbs::HA_GetAdapterPorts()
    AdapterPorts ports();

    /// Reads the target mappings through the layer, which logs each query. Waits up to five seconds while the adapter is
    /// busy. A count that is larger than the block is limited to the block.
    /// @return the mappings, possibly none
    /// @throws as QZCHbaapiAbs::HA_GetTargetMappings(), which ends the process by an assertion when the adapter answers
    ///         MORE_DATA with a number below 2. The function with a deadline throws then
    TargetMappings targetMappings();

    /// Reads the target mappings without the layer, and logs nothing. Waits for a busy adapter until the deadline. An
    /// adapter is not queried further if it answers MORE_DATA with a number that is not larger than the block, with a
    /// number above 1048576, or more than 16 times. A count that is larger than the block is limited to the block.
    /// @param aDeadline end of the wait; the first query is always made
    /// @return the mappings, possibly none
    /// @throws QZCHbaapiEx "HBA_GetFcpTargetMapping method failed", code 802, followed by ": the library asked for an
    ///         implausible number of mappings, N after room for M" after such an answer; QZCNoMemoryEx "Out of Memory", code 2
    TargetMappings targetMappings(std::chrono::steady_clock::time_point aDeadline);

    /// Sends REPORT LUNS to a remote port, with room for the longest list that the layer accepts.
    /// @param aPort the remote port
    /// @return the answer
    /// @throws as QZCHbaapiAbs::HA_SendReportLUNs(); QZCNoMemoryEx "Out of Memory", code 2
    LunReport reportLuns(Wwn const& aPort);

    /// Sends REPORT LUNS to a remote port. The block of the report is reused if it has room for the longest list that
    /// the layer accepts, so that a caller can measure the query without an allocation.
    /// @param aPort   the remote port
    /// @param aReport takes the answer; LunReport() has enough room. After an exception its contents are undefined
    /// @throws as the other reportLuns()
    void reportLuns(Wwn const& aPort, LunReport& aReport);

private:
    QZCHbaapiAbs& mLayer;
    HBA_HANDLE const mHandle;
};
}  // namespace qz
