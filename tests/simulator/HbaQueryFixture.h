/// @file
/// The simulated HBA library with an open adapter.
#pragma once

#include <cstdint>
#include <cstring>
#include <ctime>
#include <string>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "simulator/scenario/Wwn.h"
#include "tests/simulator/HbaLibraryFixture.h"

/// The first adapter has two ports. The first port sees a target and an initiator. The second port sees another target
/// and the first target. The second adapter has no ports.
constexpr char const* fabric =
    "[[adapter]]\nname = \"a\"\nmodel = \"EX-1\"\nvendor_specific_id = 7\n"
    "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:01\"\nfc_id = 0x11\n"
    "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nfc_id = 0x21\n"
    "node_wwn = \"50:00:00:00:00:00:00:00\"\nluns = [1, 300]\n"
    "[[adapter.port.remote]]\nport_wwn = \"10:00:00:00:00:00:00:09\"\nfc_id = 0x22\nrole = \"initiator\"\n"
    "[[adapter.port]]\nport_wwn = \"10:00:00:00:00:00:00:02\"\nfc_id = 0x12\n"
    "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:02\"\nfc_id = 0x23\nluns = 1\n"
    "[[adapter.port.remote]]\nport_wwn = \"50:00:00:00:00:00:00:01\"\nfc_id = 0x24\nluns = 1\n"
    "[[adapter]]\nname = \"b\"\n";

/// Content of memory that the library has not written.
constexpr unsigned char fill = 0xa5;

class HbaQueryFixture : public HbaLibraryFixture
{
protected:
    static constexpr HBA_STATUS badHandle = HBA_STATUS_ERROR_INVALID_HANDLE;
    static constexpr HBA_STATUS badArgument = HBA_STATUS_ERROR_ARG;
    static constexpr HBA_STATUS badIndex = HBA_STATUS_ERROR_ILLEGAL_INDEX;
    static constexpr HBA_STATUS badName = HBA_STATUS_ERROR_ILLEGAL_WWN;
    static constexpr HBA_STATUS moreData = HBA_STATUS_ERROR_MORE_DATA;

    /// @name The ports and targets of the fabric
    /// @{
    static constexpr char const* firstPort = "10:00:00:00:00:00:00:01";
    static constexpr char const* secondPort = "10:00:00:00:00:00:00:02";
    static constexpr char const* sharedTarget = "50:00:00:00:00:00:00:01";  ///< both ports see it
    static constexpr char const* secondTarget = "50:00:00:00:00:00:00:02";  ///< the second port sees it
    /// @}

    HbaQueryFixture() { loadWith(""); }

    /// Loads the fabric with a fault and opens the first adapter.
    void loadWith(std::string const& aFault)
    {
        EXPECT_EQ(load(fabric + aFault), ok);
        mHandle = open("a");
    }

    static HBA_WWN wwn(char const* aText) { return qzsim::wwnIn(aText).value(); }

    /// @return a record whose bytes are all aFill
    template <typename Record>
    static Record filledWith(int aFill)
    {
        Record record;
        std::memset(&record, aFill, sizeof record);
        return record;
    }

    /// @return whether the record is unchanged since filledWith
    template <typename Record>
    static bool isStill(int aFill, Record const& aRecord)
    {
        Record const expected = filledWith<Record>(aFill);
        return std::memcmp(&aRecord, &expected, sizeof expected) == 0;
    }

    HBA_HANDLE mHandle = HBA_HANDLE_INVALID;
};
