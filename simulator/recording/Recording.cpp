#include "simulator/recording/Recording.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>
#include <variant>

#include <fmt/format.h>

#include "pcapng/Reader.h"
#include "simulator/recording/CborReader.h"
#include "simulator/recording/PacketSize.h"
#include "toml/TomlValue.h"

namespace qzsim
{
namespace
{
// A packet with its head and options.
constexpr std::size_t largestBlock = largestPacket + 65'536;

// The largest answer, in its pieces, is smaller than what a recorder can pass to the runner at once.
constexpr std::size_t largestContent = std::size_t{32} << 20U;

class FileInput : public pcapng::Input
{
public:
    explicit FileInput(std::string const& aPath) : mFile(aPath, std::ios::binary)
    {
        if (!mFile)
        {
            throw RecordingError(fmt::format("cannot read {}: {}", tomlfile::inQuotes(aPath),
                                             std::generic_category().message(errno)));
        }
    }

    std::size_t read(unsigned char* aBytes, std::size_t aSize) override
    {
        mFile.read(reinterpret_cast<char*>(aBytes), static_cast<std::streamsize>(aSize));
        return static_cast<std::size_t>(mFile.gcount());
    }

private:
    std::ifstream mFile;
};

std::string textOf(Json const& aValue)
{
    if (auto const* const text = aValue.get_ptr<std::string const*>())
    {
        return *text;
    }
    return aValue.is_binary() ? std::string(aValue.get_binary().begin(), aValue.get_binary().end())
                              : std::string();
}

std::uint64_t numberOf(Json const& aObject, char const* aName)
{
    auto const found = aObject.find(aName);
    return found != aObject.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

Json memberOf(Json const& aObject, char const* aName)
{
    auto const found = aObject.find(aName);
    return found != aObject.end() && found->is_object() ? *found : Json::object();
}

std::string questionOf(std::string const& aLibrary, std::string const& aFunction, Json const& aArguments)
{
    std::vector<std::uint8_t> const arguments = Json::to_cbor(aArguments);
    return aLibrary + '\n' + aFunction + '\n' + std::string(arguments.begin(), arguments.end());
}

std::string describeValue(Json const& aValue)
{
    if (!aValue.is_binary())
    {
        return tomlfile::escaped(aValue.dump(-1, ' ', true, Json::error_handler_t::replace));
    }
    std::string hexadecimal;
    for (std::uint8_t const byte : aValue.get_binary())
    {
        hexadecimal += fmt::format("{:02x}", byte);
    }
    return hexadecimal.empty() ? "0" : hexadecimal;  // zero bytes at the end are not recorded
}
}  // namespace

Recording Recording::ofFile(std::string const& aPath)
{
    FileInput input(aPath);
    try
    {
        return Recording(input);
    }
    catch (RecordingError const& error)
    {
        throw RecordingError(fmt::format("cannot read {}: {}", tomlfile::inQuotes(aPath), error.what()));
    }
}

Recording::Recording(pcapng::Input& aInput)
{
    readItems(aInput);
    if (mCalls.empty() && mLibraries.empty() && !mConfiguration)
    {
        throw RecordingError("it is no recording");
    }
    arrange();
}

void Recording::readItems(pcapng::Input& aInput)
{
    pcapng::Reader reader(aInput, largestBlock);
    std::map<std::uint32_t, std::vector<std::uint8_t>> pieces;
    while (std::optional<pcapng::Item> const item = reader.next())
    {
        mDamaged += std::holds_alternative<pcapng::Gap>(*item) ? 1 : 0;
        auto const* const packet = std::get_if<pcapng::Packet>(&*item);
        if (packet == nullptr || packet->mInterface == nullptr ||
            packet->mInterface->mLinkType != callLinkType)
        {
            continue;
        }
        std::vector<std::uint8_t>& content = pieces[packet->mHead.mInterface];
        content.insert(content.end(), packet->mData.begin(), packet->mData.end());
        if (packet->mData.mSize == largestPacket && content.size() < largestContent)
        {
            continue;
        }
        std::optional<Json> const value = readCbor(content);
        content.clear();
        value && value->is_object() ? take(packet->mInterface->mName, packet->mHead.mTime, *value)
                                    : static_cast<void>(++mDamaged);
    }
}

void Recording::take(std::string const& aLibrary, std::uint64_t aTime, Json const& aPacket)
{
    mBegin = std::min(mBegin.value_or(aTime), aTime);
    if (aPacket.contains("call"))
    {
        takeCall(aLibrary, aTime, aPacket);
    }
    else if (aPacket.contains("event"))
    {
        mEvents.push_back({static_cast<std::uint32_t>(numberOf(aPacket, "registration")), aTime,
                           memberOf(aPacket, "data")});
    }
    else if (aPacket.contains("library"))
    {
        RecordedLibrary& library = mLibraries[aLibrary];
        auto const error = aPacket.find("error");
        library.mError = error == aPacket.end() ? std::nullopt : std::optional(textOf(*error));
        for (Json const& name : aPacket.value("functions", Json::array()))
        {
            library.mFunctions.insert(textOf(name));
        }
    }
    else if (auto const content = aPacket.find("configuration"); content != aPacket.end())
    {
        mConfiguration = textOf(*content);
    }
}

void Recording::takeCall(std::string const& aLibrary, std::uint64_t aTime, Json const& aPacket)
{
    // The library was opened before its calls. A replay would wait for a damaged duration.
    constexpr std::uint64_t longest = 86'400'000'000'000;  // a day
    std::uint64_t duration = numberOf(aPacket, "duration");
    if (duration > std::min(aTime - *mBegin, longest))
    {
        ++mDamaged;
        duration = 0;
    }
    std::optional<std::uint32_t> returned;
    if (aPacket.contains("returns"))
    {
        returned = static_cast<std::uint32_t>(numberOf(aPacket, "returns"));
    }
    RecordedCall call{aLibrary,
                      textOf(aPacket["call"]),
                      memberOf(aPacket, "arguments"),
                      returned,
                      memberOf(aPacket, "results"),
                      aTime - duration,
                      duration,
                      0,
                      static_cast<std::uint32_t>(numberOf(aPacket, "thread"))};
    auto const next = static_cast<std::uint32_t>(mNumbers.size());
    std::string const question = questionOf(aLibrary, call.mFunction, call.mArguments);
    call.mQuestion = mNumbers.emplace(question, next).first->second;
    mCalls.push_back(std::move(call));
}

void Recording::arrange()
{
    std::stable_sort(mCalls.begin(), mCalls.end(),
                     [](RecordedCall const& aLeft, RecordedCall const& aRight)
                     { return aLeft.mStart < aRight.mStart; });
    std::stable_sort(mEvents.begin(), mEvents.end(),
                     [](RecordedEvent const& aLeft, RecordedEvent const& aRight)
                     { return aLeft.mTime < aRight.mTime; });
    mQuestions.resize(mNumbers.size());
    std::map<std::uint32_t, std::uint32_t> threads;
    for (std::size_t i = 0; i < mCalls.size(); ++i)
    {
        mQuestions[mCalls[i].mQuestion].push_back(i);
        mCalls[i].mThread =
            threads.emplace(mCalls[i].mThread, static_cast<std::uint32_t>(threads.size())).first->second;
        mLastCalls.resize(threads.size());
        mLastCalls[mCalls[i].mThread] = i;
    }
}

std::optional<std::uint32_t> Recording::question(std::string const& aLibrary, std::string const& aFunction,
                                                 Json const& aArguments) const
{
    auto const found = mNumbers.find(questionOf(aLibrary, aFunction, aArguments));
    return found == mNumbers.end() ? std::nullopt : std::optional(found->second);
}

std::string describeCall(std::string const& aFunction, Json const& aArguments)
{
    std::string text;
    for (auto const& [name, value] : aArguments.items())
    {
        text +=
            fmt::format("{}{} {}", text.empty() ? "" : ", ", tomlfile::escaped(name), describeValue(value));
    }
    return fmt::format("{}({})", tomlfile::escaped(aFunction), text);
}
}  // namespace qzsim
