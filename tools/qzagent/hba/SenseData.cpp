#include "tools/qzagent/hba/SenseData.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "tools/qzagent/cli/Failure.h"

namespace qzagent
{
namespace
{
constexpr unsigned int checkCondition = 0x02;

struct ScsiName
{
    unsigned int mNumber;
    std::string_view mName;
};

constexpr ScsiName const scsiStatusNames[] = {
    {0x00, "GOOD"},
    {checkCondition, "CHECK CONDITION"},
    {0x04, "CONDITION MET"},
    {0x08, "BUSY"},
    {0x10, "INTERMEDIATE"},
    {0x14, "INTERMEDIATE-CONDITION MET"},
    {0x18, "RESERVATION CONFLICT"},
    {0x22, "COMMAND TERMINATED"},
    {0x28, "TASK SET FULL"},
    {0x30, "ACA ACTIVE"},
    {0x40, "TASK ABORTED"},
};

constexpr std::array<char const*, 16> senseKeyNames{
    "NO SENSE",       "RECOVERED ERROR", "NOT READY",      "MEDIUM ERROR",
    "HARDWARE ERROR", "ILLEGAL REQUEST", "UNIT ATTENTION", "DATA PROTECT",
    "BLANK CHECK",    "VENDOR SPECIFIC", "COPY ABORTED",   "ABORTED COMMAND",
    "RESERVED",       "VOLUME OVERFLOW", "MISCOMPARE",     "COMPLETED",
};

/// The additional sense codes that disks and FC targets usually send: ASC * 256 + ASCQ, ascending.
constexpr ScsiName const additionalSenseNames[] = {
    {0x0000, "no additional sense information"},
    {0x0400, "not ready, cause not reportable"},
    {0x0401, "becoming ready"},
    {0x0402, "not ready, initializing command required"},
    {0x0403, "not ready, manual intervention required"},
    {0x0404, "not ready, format in progress"},
    {0x0405, "not ready, rebuild in progress"},
    {0x0407, "not ready, operation in progress"},
    {0x0409, "not ready, self-test in progress"},
    {0x040a, "not accessible, asymmetric access state transition"},
    {0x040b, "not accessible, target port in standby state"},
    {0x040c, "not accessible, target port in unavailable state"},
    {0x0411, "not ready, notify (enable spinup) required"},
    {0x0412, "not ready, offline"},
    {0x0414, "not ready, space allocation in progress"},
    {0x041b, "not ready, sanitize in progress"},
    {0x0500, "logical unit does not respond to selection"},
    {0x0800, "logical unit communication failure"},
    {0x0801, "logical unit communication timeout"},
    {0x0802, "logical unit communication parity error"},
    {0x0b01, "warning, specified temperature exceeded"},
    {0x0c00, "write error"},
    {0x0c02, "write error, auto reallocation failed"},
    {0x1001, "logical block guard check failed"},
    {0x1002, "logical block application tag check failed"},
    {0x1003, "logical block reference tag check failed"},
    {0x1100, "unrecovered read error"},
    {0x1400, "recorded entity not found"},
    {0x1701, "recovered data with retries"},
    {0x1800, "recovered data with error correction applied"},
    {0x1a00, "parameter list length error"},
    {0x1d00, "miscompare during verify operation"},
    {0x2000, "invalid command operation code"},
    {0x2002, "access denied, no access rights"},
    {0x2100, "logical block address out of range"},
    {0x2400, "invalid field in CDB"},
    {0x2500, "logical unit not supported"},
    {0x2600, "invalid field in parameter list"},
    {0x2700, "write protected"},
    {0x2707, "space allocation failed, write protected"},
    {0x2800, "not ready to ready change, medium may have changed"},
    {0x2900, "power on, reset, or bus device reset occurred"},
    {0x2901, "power on occurred"},
    {0x2902, "SCSI bus reset occurred"},
    {0x2903, "bus device reset function occurred"},
    {0x2904, "device internal reset"},
    {0x2907, "I_T nexus loss occurred"},
    {0x2a00, "parameters changed"},
    {0x2a01, "mode parameters changed"},
    {0x2a03, "reservations preempted"},
    {0x2a04, "reservations released"},
    {0x2a05, "registrations preempted"},
    {0x2a06, "asymmetric access state changed"},
    {0x2a09, "capacity data has changed"},
    {0x2c00, "command sequence error"},
    {0x2f00, "commands cleared by another initiator"},
    {0x3100, "medium format corrupted"},
    {0x3200, "no defect spare location available"},
    {0x3500, "enclosure services failure"},
    {0x3700, "rounded parameter"},
    {0x3807, "thin provisioning soft threshold reached"},
    {0x3a00, "medium not present"},
    {0x3e00, "logical unit has not self-configured yet"},
    {0x3e01, "logical unit failure"},
    {0x3e02, "timeout on logical unit"},
    {0x3e03, "logical unit failed self-test"},
    {0x3f01, "microcode has been changed"},
    {0x3f03, "inquiry data has changed"},
    {0x3f0e, "reported LUNs data has changed"},
    {0x4100, "data path failure"},
    {0x4300, "message error"},
    {0x4400, "internal target failure"},
    {0x4500, "select or reselect failure"},
    {0x4700, "SCSI parity error"},
    {0x4701, "data phase CRC error detected"},
    {0x4800, "initiator detected error message received"},
    {0x4900, "invalid message error"},
    {0x4a00, "command phase error"},
    {0x4b00, "data phase error"},
    {0x4c00, "logical unit failed self-configuration"},
    {0x4e00, "overlapped commands attempted"},
    {0x5300, "media load or eject failed"},
    {0x5500, "system resource failure"},
    {0x5504, "insufficient registration resources"},
    {0x5d00, "failure prediction threshold exceeded"},
    {0x5e00, "low power condition on"},
    {0x6500, "voltage fault"},
    {0x6700, "configuration failure"},
    {0x6800, "logical unit not configured"},
    {0x7400, "security error"},
};

template <std::size_t size>
NamedNumber named(unsigned int aNumber, ScsiName const (&aNames)[size])
{
    auto const* const found =
        std::lower_bound(std::begin(aNames), std::end(aNames), aNumber,
                         [](ScsiName const& aName, unsigned int aWanted) { return aName.mNumber < aWanted; });
    bool const isFound = found != std::end(aNames) && found->mNumber == aNumber;
    return {aNumber, isFound ? std::string(found->mName) : std::string()};
}

/// Where a format of sense data has its fields.
struct Format
{
    std::size_t mKey;
    std::size_t mCode;    ///< of the ASC, which the ASCQ follows
    std::size_t mLength;  ///< of the number of bytes that follow the first eight
};

constexpr Format fixedFormat{2, 12, 7};
constexpr Format descriptorFormat{1, 2, 7};

/// @param aSense one byte at least
std::optional<Format> formatOf(unsigned char const* aSense)
{
    constexpr unsigned int responseCode = 0x7f;
    switch (*aSense & responseCode)
    {
        case 0x70:
        case 0x71:
            return fixedFormat;
        case 0x72:
        case 0x73:
            return descriptorFormat;
        default:
            return std::nullopt;
    }
}

/// @return number of bytes that the device sent; the buffer may be larger
std::size_t sentSize(unsigned char const* aSense, std::size_t aSize, Format const& aFormat)
{
    constexpr std::size_t headerSize = 8;
    return aSize < headerSize ? aSize : std::min(aSize, headerSize + aSense[aFormat.mLength]);
}
}  // namespace

//   byte     0     1     2     3 to 6     7       8 to 11    12     13
//   fixed    70/71       key              length             ASC    ASCQ
//   descr.   72/73 key   ASC   ASCQ ...   length
ScsiCause scsiCauseOf(unsigned int aStatus, unsigned char const* aSense, std::size_t aSize)
{
    constexpr unsigned int keyBits = 0x0f;
    ScsiCause cause{named(aStatus, scsiStatusNames), {}, {}};
    std::optional<Format> const format = aSize == 0 ? std::nullopt : formatOf(aSense);
    if (!format)
    {
        return cause;
    }
    std::size_t const size = sentSize(aSense, aSize, *format);
    if (size > format->mKey)
    {
        unsigned int const key = aSense[format->mKey] & keyBits;
        cause.mSenseKey = NamedNumber{key, senseKeyNames[key]};
    }
    if (size > format->mCode + 1)
    {
        unsigned int const high = aSense[format->mCode];
        unsigned int const code = high << 8U | aSense[format->mCode + 1];
        cause.mAdditionalSense = named(code, additionalSenseNames);
    }
    return cause;
}

std::string textOf(ScsiCause const& aCause)
{
    std::string text = aCause.mStatus.mName.empty()
                           ? fmt::format("SCSI status {:02X}", aCause.mStatus.mNumber)
                           : aCause.mStatus.mName;
    if (aCause.mSenseKey)
    {
        text += ", " + aCause.mSenseKey->mName;
    }
    else if (aCause.mStatus.mNumber == checkCondition)
    {
        text += ", no sense data";
    }
    if (aCause.mAdditionalSense)
    {
        NamedNumber const& code = *aCause.mAdditionalSense;
        text += fmt::format(", {} ({:02X}/{:02X})", code.mName.empty() ? "additional sense" : code.mName,
                            code.mNumber >> 8U, code.mNumber & 0xffU);
    }
    return text;
}
}  // namespace qzagent
