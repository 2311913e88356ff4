#include "tools/qzagent/capture/CaptureForm.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <system_error>

namespace qzagent
{
namespace
{
/// The type of the first block, which is the same in both byte orders. No record begins like this.
constexpr char sectionHeader[] = {'\x0a', '\x0d', '\x0d', '\x0a'};
}  // namespace

std::optional<CaptureForm> formOfFile(std::string const& aPath)
{
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(aPath, ignored))
    {
        return {};
    }
    char head[sizeof sectionHeader];
    auto const size = std::ifstream(aPath, std::ios::binary).read(head, sizeof head).gcount();
    if (size == 0)
    {
        return {};
    }
    // An interrupted write may leave a part of the first block.
    return std::equal(head, head + size, std::begin(sectionHeader)) ? CaptureForm::pcapng
                                                                    : CaptureForm::records;
}

std::optional<CaptureForm> formNamed(std::string const& aName)
{
    if (aName == "pcapng")
    {
        return CaptureForm::pcapng;
    }
    return aName == "records" ? std::optional(CaptureForm::records) : std::nullopt;
}
}  // namespace qzagent
