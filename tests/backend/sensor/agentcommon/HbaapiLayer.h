/// @file
/// The HBA API layer with a scripted HBA API.
#pragma once

#include <algorithm>
#include <ctime>
#include <initializer_list>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <hbaapi.h>

#include "agentkit/testing/FakeHbaapi.h"
#include "backend/sensor/agentcommon/include/HbaapiAbs.h"
#include "tests/support/CallLog.h"
#include "tests/support/LogCapture.h"

/// The lines that a function of the layer is expected to log.
inline ExpectedLog logOf(char const* aFunction) { return ExpectedLog(aFunction, "HbaapiAbs"); }

/// The content of a caller's memory before it is written.
constexpr unsigned char untouched = 0x5a;

/// The layer, with its HBA API calls merged into the log lines in the order in which they happen.
class HbaapiLayer : public testing::Test
{
protected:
    HbaapiLayer() { mHbaapi.mOnCall = logCall; }

    std::vector<LogLine> const& events() const { return mLog.lines(); }

    qz::FakeHbaapi mHbaapi;
    LogCapture mLog;
    QZCHbaapiAbs mLayer;
};

struct NamedStatus
{
    HBA_STATUS mStatus;
    std::string mName;
};

inline std::ostream& operator<<(std::ostream& aOut, NamedStatus const& aStatus)
{
    return aOut << aStatus.mStatus << ' ' << aStatus.mName;
}

/// Every failure status of the HBA API and some undefined numbers, each with its name in the log, except those in
/// aOthers.
inline std::vector<NamedStatus> failuresBut(std::initializer_list<HBA_STATUS> aOthers)
{
    std::vector<NamedStatus> failures = {{1, "HBA_STATUS_ERROR"},
                                         {2, "HBA_STATUS_ERROR_NOT_SUPPORTED"},
                                         {3, "HBA_STATUS_ERROR_INVALID_HANDLE"},
                                         {4, "HBA_STATUS_ERROR_ARG"},
                                         {5, "HBA_STATUS_ERROR_ILLEGAL_WWN"},
                                         {6, "HBA_STATUS_ERROR_ILLEGAL_INDEX"},
                                         {7, "HBA_STATUS_ERROR_MORE_DATA"},
                                         {8, "HBA_STATUS_ERROR_STALE_DATA"},
                                         {9, "HBA_STATUS_SCSI_CHECK_CONDITION"},
                                         {10, "HBA_STATUS_ERROR_BUSY"},
                                         {11, "HBA_STATUS_ERROR_TRY_AGAIN"},
                                         {12, "HBA_STATUS_ERROR_UNAVAILABLE"},
                                         {13, "HBA_STATUS_ERROR_ELS_REJECT"},
                                         {14, "HBA_STATUS_ERROR_INVALID_LUN"},
                                         {15, "HBA_STATUS_ERROR_INCOMPATIBLE"},
                                         {16, "HBA_STATUS_ERROR_AMBIGUOUS_WWN"},
                                         {17, "HBA_STATUS_ERROR_LOCAL_BUS"},
                                         {18, "HBA_STATUS_ERROR_LOCAL_TARGET"},
                                         {19, "HBA_STATUS_ERROR_LOCAL_LUN"},
                                         {20, "HBA_STATUS_ERROR_LOCAL_SCSIID_BOUND"},
                                         {21, "HBA_STATUS_ERROR_TARGET_FCID"},
                                         {22, "HBA_STATUS_ERROR_TARGET_NODE_WWN"},
                                         {23, "HBA_STATUS_ERROR_TARGET_PORT_WWN"},
                                         {24, "HBA_STATUS_ERROR_TARGET_LUN"},
                                         {25, "HBA_STATUS_ERROR_TARGET_LUID"},
                                         {26, "HBA_STATUS_ERROR_NO_SUCH_BINDING"},
                                         {27, "HBA_STATUS_ERROR_NOT_A_TARGET"},
                                         {28, "HBA_STATUS_ERROR_UNSUPPORTED_FC4"},
                                         {29, "HBA_STATUS_ERROR_INCAPABLE"},
                                         {30, "HBA_STATUS_ERROR_TARGET_BUSY"},
                                         {31, "Invalid Hbaapi Status Code"},
                                         {2147483648u, "Invalid Hbaapi Status Code"},
                                         {4294967295u, "Invalid Hbaapi Status Code"}};
    auto const isOther = [&](NamedStatus const& aFailure)
    { return std::find(aOthers.begin(), aOthers.end(), aFailure.mStatus) != aOthers.end(); };
    failures.erase(std::remove_if(failures.begin(), failures.end(), isOther), failures.end());
    return failures;
}
