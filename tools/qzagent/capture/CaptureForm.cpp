#include "tools/qzagent/capture/CaptureForm.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <variant>

#include "agentkit/include/ScopeDataView.h"
#include "pcapng/BlockReader.h"
#include "pcapng/ByteOrder.h"
#include "pcapng/BytesInput.h"
#include "pcapng/Format.h"
#include "tools/qzagent/capture/HexText.h"
#include "tools/qzagent/report/ReportText.h"

namespace qzagent
{
namespace
{
constexpr std::string_view pcapngStart = "\n\r\r\n";
/// Fewer bytes of a truncated pcapng file may be those of a record.
constexpr std::size_t leastOfPcapng = 3;

unsigned char const* bytesOf(std::string const& aText)
{
    return reinterpret_cast<unsigned char const*>(aText.data());
}

bool beginsRecord(std::string const& aHead)
{
    try
    {
        qz::ScopeDataView const record(bytesOf(aHead), aHead.size());
        return true;
    }
    catch (qz::ScopeDataError const& error)
    {
        return error.mayBeShort();
    }
}

bool hasMagic(std::string const& aHead)
{
    using pcapng::ByteOrder;
    auto const is = [&](ByteOrder aOrder)
    {
        unsigned char const* const place = bytesOf(aHead) + pcapng::blockHeadSize;
        return pcapng::readNumber<std::uint32_t>(place, aOrder) == pcapng::byteOrderMagic;
    };
    return aHead.size() == formHeadSize && (is(ByteOrder::native) || is(ByteOrder::swapped));
}
}  // namespace

std::optional<CaptureForm> formOf(std::string const& aHead, bool aIsWhole)
{
    if (aHead.size() < pcapngStart.size() && !aIsWhole)
    {
        return {};
    }
    std::size_t const compared = std::min(aHead.size(), pcapngStart.size());
    if (compared >= leastOfPcapng && aHead.compare(0, compared, pcapngStart.substr(0, compared)) == 0)
    {
        return CaptureForm::pcapng;
    }
    if (!aHead.empty() && aHead.front() == '{')
    {
        return CaptureForm::json;
    }
    if (isReportStart(aHead))
    {
        return CaptureForm::report;
    }
    if (HexText::isText(aHead.substr(0, HexText::headSize)))
    {
        return CaptureForm::hexadecimal;
    }
    if (beginsRecord(aHead))
    {
        return CaptureForm::records;
    }
    if (aHead.size() < formHeadSize && !aIsWhole)
    {
        return {};
    }
    return hasMagic(aHead) ? CaptureForm::pcapng : CaptureForm::records;
}

bool isDamagedPcapng(std::string const& aStart)
{
    if (beginsRecord(aStart))
    {
        return false;
    }
    pcapng::BytesInput input({bytesOf(aStart), aStart.size()});
    pcapng::BlockReader reader(input, aStart.size());
    bool followsBlock = false;
    while (auto const found = reader.next(pcapng::BlockReader::AtEnd::finish))
    {
        auto const* const block = std::get_if<pcapng::Block>(&*found);
        bool const isBlock = block != nullptr && pcapng::isUsual(block->mType);
        if (isBlock &&
            (followsBlock || block->mType == static_cast<std::uint32_t>(pcapng::BlockType::sectionHeader)))
        {
            return true;
        }
        followsBlock = isBlock;
    }
    return false;
}

std::optional<CaptureForm> formOfFile(std::string const& aPath)
{
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(aPath, ignored))
    {
        return {};
    }
    std::string start(searchedForBlocks, '\0');
    std::ifstream file(aPath, std::ios::binary);
    start.resize(static_cast<std::size_t>(file.read(start.data(), searchedForBlocks).gcount()));
    if (start.empty())
    {
        return {};
    }
    std::string const head = start.substr(0, formHeadSize);
    // An interrupted write may leave any part of the first block.
    bool const isCutPcapng = pcapngStart.substr(0, head.size()) == head;
    return isCutPcapng || isDamagedPcapng(start) ? CaptureForm::pcapng : formOf(head, true);
}

std::optional<CaptureForm> formNamed(std::string_view aName)
{
    if (aName == "pcapng")
    {
        return CaptureForm::pcapng;
    }
    if (aName == "records")
    {
        return CaptureForm::records;
    }
    if (aName == "json")
    {
        return CaptureForm::json;
    }
    if (aName == "hex")
    {
        return CaptureForm::hexadecimal;
    }
    return {};
}
}  // namespace qzagent
