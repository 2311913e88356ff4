/// @file
/// The content of a scenario: the simulated adapters and boards, and the calls that fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <hbaapi.h>

#include "simulator/scenario/AdapterEvents.h"
#include "simulator/scenario/Calls.h"
#include "simulator/scenario/Change.h"
#include "simulator/scenario/Diagnostics.h"
#include "simulator/scenario/Statistics.h"

namespace qzsim
{
enum class Role
{
    target,
    initiator
};

/// How a target encodes a LUN in the eight bytes of a SCSI LUN field.
enum class LunAddressing
{
    automatic,  ///< peripheral device addressing up to LUN 255, flat space addressing above
    flat        ///< flat space addressing for every LUN
};

/// How the HBA library of an adapter writes a LUN into FcpLun.
enum class LunStyle
{
    scsi,    ///< the eight bytes of the SCSI standard
    integer  ///< the integer that Linux forms from these bytes, as in ScsiOSLun
};

/// What a LUN answers to INQUIRY and READ CAPACITY, the names of its device, and its statistics.
struct LunData
{
    std::string mVendor = "EXAMPLE";
    std::string mProduct = "SIMULATED DISK";
    std::string mRevision = "1.0";
    std::uint32_t mBlockSize = 512;
    std::uint64_t mBlocks = 0x200000;
    std::optional<std::string> mDevice = std::nullopt;        ///< nothing: a generated name
    std::vector<std::uint8_t> mLuid = {};                     ///< the start of LUID in target mappings
    bool mIsMapped = true;                                    ///< whether the target mappings have the LUN
    std::optional<Fc4Statistics> mStatistics = std::nullopt;  ///< nothing: the LUN does not support them
};

/// A port that a port of the adapter has discovered.
struct RemotePort
{
    HBA_PORTATTRIBUTES mAttributes;
    Role mRole;
    LunAddressing mLunAddressing;
    std::uint32_t mReportLunsMinimum;  ///< the target refuses REPORT LUNS with a smaller buffer
    std::vector<std::uint16_t> mLuns;
    LunData mLunData;                              ///< of all LUNs except those of mOwnLunData
    std::map<std::uint16_t, LunData> mOwnLunData;  ///< of single LUNs
    std::vector<std::uint16_t> mLunTables;         ///< the LUNs of mOwnLunData, in the order of their tables
};

struct Port
{
    HBA_PORTATTRIBUTES mAttributes;
    std::vector<RemotePort> mRemotePorts;
    std::optional<Statistics> mStatistics;        ///< nothing when the port does not support them
    std::optional<Fc4Statistics> mFc4Statistics;  ///< the same
};

/// The attributes of adapters and ports are complete HBA API records, which the calls copy as they are. The counts in
/// them may differ from what exists.
struct Adapter
{
    std::string mName;
    HBA_ADAPTERATTRIBUTES mAttributes;
    LunStyle mLunStyle;
    std::vector<Port> mPorts;
    std::vector<AdapterEventSeries> mEvents;
};

/// Value of Fault::mLast for a fault without an end: every call from mFirst on fails.
constexpr std::uint32_t endless = std::numeric_limits<std::uint32_t>::max();

/// Sense data of a SCSI command that ends with a check condition.
struct Sense
{
    std::uint8_t mKey;
    std::uint8_t mCode;       ///< additional sense code
    std::uint8_t mQualifier;  ///< additional sense code qualifier
};

/// A unit attention: the reported LUNs data has changed.
constexpr Sense usualSense{0x06, 0x3f, 0x0e};

/// How the answer of a call differs from the true one.
struct AnswerShape
{
    bool mIsUntouched = false;  ///< whether the call succeeds without writing into the memory of the caller
    bool mHasGarbage = false;  ///< whether the memory of the caller behind the content is filled with garbage
    bool mHasZeros = false;    ///< whether the memory of the caller behind the content is filled with zeros
    std::uint32_t mMissing = 0;  ///< how many LUNs or boards are missing at the end of a list
    std::optional<std::uint32_t> mLength = std::nullopt;  ///< number of bytes that are written, at most
    std::optional<std::uint32_t> mEntries =
        std::nullopt;  ///< number of mappings or boards that are written, at most
    std::optional<std::uint32_t> mCount = std::nullopt;  ///< number that is reported instead of the true one
    std::optional<std::uint32_t> mListLength = std::nullopt;  ///< length in the response to REPORT LUNS
};

/// What a call does when a fault strikes: it prints, waits and answers, in this order.
struct Reaction
{
    /// Status of the HBA API, or result of the diagnostic library. Nothing: the call answers as usual.
    std::optional<std::uint32_t> mAnswer = std::nullopt;
    AnswerShape mShape = {};
    std::optional<Sense> mSense = std::nullopt;  ///< sense data instead of the usual one
    std::uint32_t mDelayMs = 0;
    std::uint32_t mLongestDelayMs = 0;  ///< the delay is drawn from mDelayMs to this, unless this is smaller
    bool mHangs = false;                ///< whether the call never answers
    std::string mLine = {};             ///< printed on standard output, unless it is empty
};

/// Calls that fail or misbehave in another way.
struct Fault
{
    Call mCall;
    std::string mDevice;  ///< name of an adapter or number of a board: only its calls count; empty: all calls
    std::string mPort;    ///< name of a remote port: only its calls count; empty: all calls
    std::uint32_t mFirst;  ///< first call that fails, counted from 1
    std::uint32_t mLast;   ///< last call that fails
    Reaction mReaction;
    std::string mPlace;      ///< position in the file, "file:line:column"
    std::string mName = {};  ///< starts and ends the fault; may be empty
    bool mIsActive = true;
};

/// A change that happens at a time, or after a call.
struct TimelineEntry
{
    std::optional<std::uint32_t> mAtMs;  ///< time after the start of the program
    std::optional<Call> mCall;           ///< otherwise the change happens after a call of this function
    std::uint32_t mNth;                  ///< which call, counted from 1
    Change mChange;
    std::string mPlace;  ///< position in the file, "file:line:column"
};

/// Whom the HBA library imitates in what it answers to unknown handles, indexes and names.
enum class Behaviour
{
    standard,    ///< the standard of the HBA API
    libhbalinux  ///< the HBA library of Linux with this name
};

struct Scenario
{
    Behaviour mBehaviour = Behaviour::standard;
    std::vector<Adapter> mAdapters;
    std::optional<std::uint32_t> mNumberOfAdapters;  ///< reported instead of the number of adapters
    Diagnostics mDiagnostics;
    std::vector<Fault> mFaults;
    std::vector<TimelineEntry> mTimeline;
};

/// @return the number of adapters that the HBA library reports
std::uint32_t numberOfAdapters(Scenario const& aScenario);

/// @return the number of boards that the diagnostic library reports
std::uint32_t numberOfBoards(Diagnostics const& aDiagnostics);

/// @return the data of a LUN of the target
LunData const& dataOf(std::uint16_t aLun, RemotePort const& aTarget);

/// @return the index of the adapter's port with this name; nothing when it has none
std::optional<std::size_t> indexOfPortNamed(HBA_WWN const& aName, Adapter const& aAdapter);

/// @return the port with this name that the port has discovered; null when there is none
RemotePort const* remotePortNamed(HBA_WWN const& aName, Port const& aPort);

/// @return the number of LUNs of all targets of an adapter
std::size_t numberOfLuns(Adapter const& aAdapter);

/// @return how often the fault must strike to count as complete: once if it has no end
std::uint32_t strikesIn(Fault const& aFault);

/// @return the fault in words: "call 2 of HBA_OpenAdapter returns HBA_STATUS_ERROR_BUSY"
std::string summaryOf(Fault const& aFault);

/// @return the timeline entry in words: "at 2000 ms: set adapter[0].port[1].state = "LINKDOWN""
std::string summaryOf(TimelineEntry const& aEntry);

/// @return the scenario in words, one line for each adapter, board, event source, fault and timeline entry
std::string summaryOf(Scenario const& aScenario);
}  // namespace qzsim
