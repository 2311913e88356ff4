/// @file
/// Reads captures that are lines of JSON.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "backend/common/include/EncodableStream.h"
#include "pcapng/Window.h"
#include "tools/qzagent/capture/CaptureFile.h"
#include "tools/qzagent/capture/CaptureItems.h"

namespace qzagent
{
/// Reads the lines that the verbs write with --json. A line that is no event is damage.
class JsonSource : public CaptureSource
{
public:
    /// @param aFile    must outlive the source
    /// @param aLargest size in bytes of the largest record that is accepted
    JsonSource(CaptureFile& aFile, std::size_t aLargest);

    std::optional<CaptureItem> next(bool aMayGrow) override;

private:
    std::optional<std::string_view> nextLine(bool aMayGrow);
    CaptureItem itemOf(std::string_view aLine);
    void read(nlohmann::json const& aObject, CaptureEvent& aEvent);
    void encode(nlohmann::json const& aObject, CaptureEvent& aEvent);

    CaptureFile& mFile;
    std::size_t const mLargestLine;  ///< size in bytes
    pcapng::Window mWindow;
    std::size_t mSize = 0;  ///< size in bytes of the last line
    std::uint64_t mPosition = 0;
    std::uint64_t mLine = 0;
    std::string mHost;
    QZCEncodableOutStream mStream;
};
}  // namespace qzagent
