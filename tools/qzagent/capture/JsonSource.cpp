#include "tools/qzagent/capture/JsonSource.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "agentkit/include/ScopeEvents.h"
#include "agentkit/include/Wwn.h"
#include "backend/common/include/Buffer.h"
#include "backend/sensor/agentcommon/include/ScopeData.h"
#include "tools/qzagent/capture/ForeignJson.h"
#include "tools/qzagent/capture/HexText.h"
#include "tools/qzagent/cli/TimeText.h"

namespace qzagent
{
namespace
{
/// Space in a line for everything except the payload.
constexpr std::size_t besidesPayload = 65'536;
constexpr std::uint64_t largestByte = 0xff;

/// @param aRecord size in bytes of a record
/// @return the size in bytes of the largest line that contains it, limited to the address space
constexpr std::size_t largestLineWith(std::size_t aRecord)
{
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    return aRecord <= (most - besidesPayload) / 2 ? 2 * aRecord + besidesPayload : most;
}

/// Says what a line lacks.
class BadLine : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

std::uint64_t numberOf(nlohmann::json const& aObject, char const* aKey, std::uint64_t aLargest)
{
    auto const found = aObject.find(aKey);
    if (found == aObject.end() || !found->is_number_unsigned() || found->get<std::uint64_t>() > aLargest)
    {
        throw BadLine(fmt::format("\"{}\" is not a number up to {}", aKey, aLargest));
    }
    return found->get<std::uint64_t>();
}

std::string const& textOf(nlohmann::json const& aObject, char const* aKey)
{
    auto const found = aObject.find(aKey);
    if (found == aObject.end() || !found->is_string())
    {
        throw BadLine(fmt::format("\"{}\" is not a text", aKey));
    }
    return found->get_ref<std::string const&>();
}

qz::Wwn nameOf(nlohmann::json const& aObject, char const* aKey)
{
    std::optional<qz::Wwn> const name = qz::Wwn::parse(textOf(aObject, aKey));
    if (!name)
    {
        throw BadLine(fmt::format("\"{}\" is not a World Wide Name", aKey));
    }
    return *name;
}

std::vector<unsigned char> payloadOf(nlohmann::json const& aObject)
{
    std::string const& text = textOf(aObject, "payload");
    std::vector<unsigned char> bytes(text.begin(), text.end());
    HexText decoder;
    bytes.resize(decoder.decode(bytes.data(), bytes.size()));
    if (decoder.complaint() || 2 * bytes.size() != text.size())
    {
        throw BadLine("\"payload\" is not pairs of hexadecimal digits");
    }
    return bytes;
}

QZCScopeData recordOf(nlohmann::json const& aObject)
{
    auto const event =
        qz::makeScopeEvent(static_cast<unsigned char>(numberOf(aObject, "category", largestByte)),
                           static_cast<unsigned char>(numberOf(aObject, "subcategory", largestByte)));
    std::vector<unsigned char> const payload = payloadOf(aObject);
    auto const length = static_cast<unsigned int>(payload.size());
    if (!aObject.contains("first_wwn"))
    {
        return {event, payload.data(), length, length};
    }
    return {event,
            payload.data(),
            length,
            length,
            nameOf(aObject, "first_wwn").record(),
            nameOf(aObject, "second_wwn").record()};
}
}  // namespace

JsonSource::JsonSource(CaptureFile& aFile, std::size_t aLargest)
    : mFile(aFile), mLargestLine(largestLineWith(aLargest)), mWindow(aFile, mLargestLine)
{
}

std::optional<CaptureItem> JsonSource::next(bool aMayGrow)
{
    std::optional<std::string_view> const line = nextLine(aMayGrow);
    return line ? std::optional(itemOf(*line)) : std::nullopt;
}

/// @return the next line without its end; none when there is none now
std::optional<std::string_view> JsonSource::nextLine(bool aMayGrow)
{
    mPosition += mSize;
    mWindow.skip(std::exchange(mSize, 0));
    ++mLine;
    // The window may move whenever it reads.
    auto const firstBytes = [this](std::size_t aSize)
    { return std::string_view(reinterpret_cast<char const*>(mWindow.data()), aSize); };
    std::size_t searched = 0;
    for (;;)
    {
        std::size_t const end = firstBytes(mWindow.size()).find('\n', searched);
        if (end != std::string_view::npos)
        {
            mSize = end + 1;
            return firstBytes(end);
        }
        searched = mWindow.size();
        if (mWindow.readMore())
        {
            continue;
        }
        bool const isTooLong = searched > mLargestLine;
        if (searched == 0 || (aMayGrow && !isTooLong))
        {
            --mLine;
            return {};
        }
        // A line that is too long becomes several bad lines.
        mSize = searched;
        return firstBytes(searched);
    }
}

CaptureItem JsonSource::itemOf(std::string_view aLine)
{
    CaptureEvent event;
    event.mPosition = mPosition;
    try
    {
        read(parseForeignJson<nlohmann::json>(aLine), event);
        return event;
    }
    catch (BadLine const& error)
    {
        return CaptureDamage{fmt::format("{}:{}: {}", mFile.name(), mLine, error.what())};
    }
    catch (DeepJsonError const& error)
    {
        return CaptureDamage{fmt::format("{}:{}: {}", mFile.name(), mLine, error.what())};
    }
    catch (nlohmann::json::exception const&)
    {
        return CaptureDamage{fmt::format("{}:{}: not a JSON object", mFile.name(), mLine)};
    }
}

void JsonSource::read(nlohmann::json const& aObject, CaptureEvent& aEvent)
{
    if (!aObject.is_object())
    {
        throw BadLine("not a JSON object");
    }
    if (aObject.contains("time"))
    {
        aEvent.mOrigin.mTime = timeOf(textOf(aObject, "time"));
        if (!aEvent.mOrigin.mTime)
        {
            throw BadLine("\"time\" is not a time as in RFC 3339");
        }
    }
    if (aObject.contains("host"))
    {
        mHost = textOf(aObject, "host");
        aEvent.mOrigin.mHost = mHost;
    }
    if (aObject.contains("board"))
    {
        aEvent.mOrigin.mBoard =
            static_cast<std::uint32_t>(numberOf(aObject, "board", std::numeric_limits<std::uint32_t>::max()));
    }
    if (aObject.contains("dropped"))
    {
        aEvent.mDropped = numberOf(aObject, "dropped", std::numeric_limits<std::uint64_t>::max());
        return;
    }
    encode(aObject, aEvent);
}

void JsonSource::encode(nlohmann::json const& aObject, CaptureEvent& aEvent)
{
    mStream.clear();
    recordOf(aObject).encode(mStream);
    QZCBuffer const& encoded = mStream.getEncoded();
    aEvent.mEncoded = {encoded, encoded.getLength()};
    aEvent.mRecord.emplace(aEvent.mEncoded.mData, aEvent.mEncoded.mSize);
}
}  // namespace qzagent
