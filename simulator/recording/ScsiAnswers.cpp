#include "simulator/recording/ScsiAnswers.h"

#include <algorithm>
#include <climits>
#include <cstdint>

namespace qzsim
{
namespace
{
constexpr char const* reportLuns = "HBA_SendReportLUNs";
constexpr char const* inquiry = "HBA_SendScsiInquiry";
constexpr char const* readCapacity = "HBA_SendReadCapacity";

constexpr std::size_t sizeOfLun = 8;
constexpr std::size_t headOfLuns = 8;
constexpr std::size_t sizeOfInquiry = 36;
constexpr std::size_t sizeOfCapacity = 8;
constexpr std::size_t additionalLength = 4;  // its place in the response to INQUIRY

std::uint32_t numberIn(Bytes const& aBytes)
{
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < sizeof(std::uint32_t); ++i)
    {
        number = number << CHAR_BIT | (i < aBytes.size() ? aBytes[i] : 0U);
    }
    return number;
}

/// The vendor, product and revision have blanks or null bytes at their ends. Programs take only null bytes for no answer.
Json contentOfInquiry(Bytes aResponse, std::size_t aWritten)
{
    constexpr std::size_t texts = 8;
    aResponse.resize(std::min(aWritten, sizeOfInquiry));
    aResponse.resize(sizeOfInquiry);
    bool const isEmpty =
        std::all_of(aResponse.begin(), aResponse.end(), [](std::uint8_t aByte) { return aByte == 0; });
    std::size_t const size = std::min(aWritten, aResponse[additionalLength] + additionalLength + 1);
    std::replace(aResponse.begin() + texts, aResponse.end(), std::uint8_t{0}, std::uint8_t{' '});
    return {isEmpty, aResponse[0], std::min(size, sizeOfInquiry),
            Json::binary({aResponse.begin() + texts, aResponse.end()})};
}
}  // namespace

bool sendsScsiCommand(RecordedCall const& aCall)
{
    bool const isStandard = valueOf<std::uint32_t>(aCall.mArguments, "vital_product_data") == 0 &&
                            valueOf<std::uint32_t>(aCall.mArguments, "page") == 0;
    return aCall.mFunction == reportLuns || aCall.mFunction == readCapacity ||
           (aCall.mFunction == inquiry && isStandard);
}

std::size_t sizeOfAnswer(RecordedCall const& aCall)
{
    std::uint64_t const room = valueOf<std::uint32_t>(aCall.mArguments, "response");
    std::uint64_t const whole = aCall.mFunction == inquiry ? sizeOfInquiry
                                : aCall.mFunction == reportLuns
                                    ? sizeOfReport(bytesOf(aCall.mResults, "response"))
                                    : sizeOfCapacity;
    return static_cast<std::size_t>(std::min(room, whole));
}

std::uint64_t sizeOfReport(Bytes const& aResponse) { return std::uint64_t{numberIn(aResponse)} + headOfLuns; }

std::optional<std::size_t> sizeBeforeZeros(RecordedCall const& aCall)
{
    std::size_t const size = sizeOfAnswer(aCall);
    if (aCall.mFunction != inquiry || size <= additionalLength)
    {
        return {};
    }
    Bytes response = bytesOf(aCall.mResults, "response");
    response.resize(std::min(response.size(), size));
    while (!response.empty() && response.back() == 0)
    {
        response.pop_back();
    }
    return response.size() <= additionalLength ? std::optional(response.size()) : std::nullopt;
}

std::size_t WrittenSizes::of(RecordedCall const& aCall)
{
    std::size_t const room = valueOf<std::uint32_t>(aCall.mArguments, "response");
    bool const isPart = aCall.mResults.contains("response_written");
    std::size_t written =
        isPart ? std::min<std::size_t>(valueOf<std::uint32_t>(aCall.mResults, "response_written"), room)
               : room;
    Bytes bytes = bytesOf(aCall.mResults, "response");
    // The buffer may still have had an earlier answer, whose end is the same.
    if (auto const last = mLast.find(aCall.mFunction); last != mLast.end())
    {
        auto const tailOf = [=](Bytes const& aBytes)
        {
            return Bytes(aBytes.begin() + static_cast<std::ptrdiff_t>(std::min(written, aBytes.size())),
                         aBytes.end());
        };
        bool const isKept = last->second.mWritten > written && tailOf(bytes) == tailOf(last->second.mBytes);
        written = isKept ? last->second.mWritten : written;
    }
    mLast.insert_or_assign(aCall.mFunction, Response{std::move(bytes), written});
    return written;
}

std::vector<Bytes> lunsIn(Bytes const& aResponse, std::size_t aWritten)
{
    constexpr std::uint64_t longest = 131'080;  // of 16384 LUNs. A damaged recording may have any length
    auto const end =
        static_cast<std::size_t>(std::min({sizeOfReport(aResponse), std::uint64_t{aWritten}, longest}));
    std::vector<Bytes> luns;
    for (std::size_t begin = headOfLuns; begin + sizeOfLun <= end; begin += sizeOfLun)
    {
        Bytes& lun = luns.emplace_back(sizeOfLun);
        for (std::size_t i = 0; i < sizeOfLun && begin + i < aResponse.size(); ++i)
        {
            lun[i] = aResponse[begin + i];
        }
    }
    return luns;
}

Json contentOf(std::string const& aFunction, Bytes aResponse, std::size_t aWritten)
{
    if (aFunction == inquiry)
    {
        return contentOfInquiry(std::move(aResponse), aWritten);
    }
    if (aFunction == readCapacity)
    {
        std::size_t const size = std::min(aWritten, sizeOfCapacity);
        aResponse.resize(size);
        return {size, Json::binary(aResponse)};
    }
    std::vector<Bytes> luns = lunsIn(aResponse, aWritten);
    std::sort(luns.begin(), luns.end());
    Json content{std::min(aWritten, headOfLuns), aWritten < headOfLuns ? 0 : numberIn(aResponse)};
    for (Bytes const& lun : luns)
    {
        content.push_back(Json::binary(lun));
    }
    return content;
}

Bytes senseIn(Bytes aSense)
{
    constexpr std::size_t key = 2;
    constexpr std::size_t code = 12;
    constexpr std::size_t qualifier = 13;
    constexpr std::uint8_t keyBits = 0x0f;
    aSense.resize(std::max(aSense.size(), qualifier + 1));
    return {static_cast<std::uint8_t>(aSense[key] & keyBits), aSense[code], aSense[qualifier]};
}
}  // namespace qzsim
