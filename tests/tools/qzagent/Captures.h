/// @file
/// Captures, and records that the library encodes.
#pragma once

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tests/support/Bytes.h"
#include "tests/support/Records.h"
#include "tests/support/ScratchFolder.h"
#include "tests/tools/qzagent/FileLimit.h"

/// The bytes of a file.
inline std::string contentOf(std::string const& aPath)
{
    std::ifstream file(aPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A capture in its own folder.
class CaptureFixture : public testing::Test
{
protected:
    std::string content() const { return contentOf(mPath); }

    ScratchFolder mFolder;
    std::string const mPath = mFolder.path() / "events.capture";
};

/// An encoded record of category 3 and subcategory 7, without names and payload.
inline std::string plainRecord()
{
    Bytes const encoded = encodedFormOf(QZCScopeData(eventOf(3, 7)));
    return {encoded.begin(), encoded.end()};
}

/// An encoded record of category 9 and subcategory 10, with names.
/// @param aPayload not empty
inline std::string fullRecord(std::string const& aPayload)
{
    Bytes const payload(aPayload.begin(), aPayload.end());
    Bytes const encoded = encodedFormOf(
        QZCScopeData(eventOf(9, 10), payload.data(), lengthOf(payload), lengthOf(payload),
                     nameOf({0x10, 0, 0, 0, 0xc9, 0, 0, 1}), nameOf({0x50, 0, 0, 0, 0xab, 0, 0, 1})));
    return {encoded.begin(), encoded.end()};
}
