#include "tools/qzagent/capture/EventLine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "tools/qzagent/capture/HexDump.h"
#include "tools/qzagent/cli/Printable.h"

namespace qzagent
{
namespace
{
constexpr std::size_t payloadBytesInText = 16;
/// Payload bytes between two reliefs, a multiple of the bytes on a line of a dump.
constexpr std::size_t piece = 32768;

void appendNumber(std::string& aText, std::string_view aBefore, std::uint64_t aNumber)
{
    std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> digits;
    char* const end = std::to_chars(digits.begin(), digits.end(), aNumber).ptr;
    aText += aBefore;
    aText.append(digits.begin(), end);
}

void appendName(std::string& aText, std::string_view aBefore, qz::Wwn const& aName)
{
    aText += aBefore;
    unsigned char const* const bytes = aName.bytes().data();
    appendHex(aText, {bytes, 1});
    for (std::size_t i = 1; i < qz::Wwn::size; ++i)
    {
        aText += ':';
        appendHex(aText, {bytes + i, 1});
    }
}

/// Calls the function with each piece and its offset, and the relief after each.
template <typename Function>
void inPieces(qz::Bytes aBytes, EventLine::Relief const& aRelief, Function aFunction)
{
    for (std::size_t done = 0; done < aBytes.mSize; done += piece)
    {
        aFunction(qz::Bytes{aBytes.mData + done, std::min(piece, aBytes.mSize - done)}, done);
        if (aRelief && aBytes.mSize > piece)
        {
            aRelief();
        }
    }
}
}  // namespace

EventLine::EventLine(Style const& aStyle)
    : mStyle(aStyle), mTimes(aStyle.mForm == Form::json ? TimeText::Style::utc : aStyle.mTimes)
{
}

void EventLine::append(std::string& aText, EventValues const& aEvent, Relief const& aRelief)
{
    mStyle.mForm == Form::json ? appendJson(aText, aEvent, aRelief) : appendText(aText, aEvent, aRelief);
}

void EventLine::appendDropped(std::string& aText, EventOrigin const& aOrigin, std::uint64_t aCount)
{
    if (mStyle.mForm == Form::json)
    {
        appendJsonOrigin(aText, aOrigin);
        appendNumber(aText, R"("dropped":)", aCount);
        aText += "}\n";
        return;
    }
    appendTextOrigin(aText, aOrigin);
    appendNumber(aText, "dropped ", aCount);
    aText += aCount == 1 ? " event\n" : " events\n";
}

void EventLine::appendText(std::string& aText, EventValues const& aEvent, Relief const& aRelief)
{
    appendTextOrigin(aText, aEvent.mOrigin);
    appendNumber(aText, "category ", aEvent.mCategory);
    appendNumber(aText, " subcategory ", aEvent.mSubcategory);
    if (!aEvent.mOrigin.mBoard && aEvent.mFirst && aEvent.mSecond)
    {
        appendName(aText, " names ", *aEvent.mFirst);
        appendName(aText, " ", *aEvent.mSecond);
    }
    appendNumber(aText, " length ", aEvent.length());
    std::size_t const size = aEvent.mPayload.mSize;
    if (size != 0 && !mStyle.mHasDump)
    {
        aText += ' ';
        appendHex(aText, {aEvent.mPayload.mData, std::min(size, payloadBytesInText)});
        aText += size > payloadBytesInText ? "..." : "";
    }
    aText += '\n';
    if (mStyle.mHasDump)
    {
        inPieces(aEvent.mPayload, aRelief,
                 [&](qz::Bytes aPiece, std::size_t aOffset) { appendHexDump(aText, aPiece, aOffset); });
    }
}

/// Formatted directly, which is faster than building a document: only the host may need escaping.
void EventLine::appendJson(std::string& aText, EventValues const& aEvent, Relief const& aRelief)
{
    appendJsonOrigin(aText, aEvent.mOrigin);
    appendNumber(aText, R"("category":)", aEvent.mCategory);
    appendNumber(aText, R"(,"subcategory":)", aEvent.mSubcategory);
    if (aEvent.mFirst && aEvent.mSecond)
    {
        appendName(aText, R"(,"first_wwn":")", *aEvent.mFirst);
        appendName(aText, R"(","second_wwn":")", *aEvent.mSecond);
        aText += '"';
    }
    appendNumber(aText, R"(,"length_bytes":)", aEvent.length());
    if (aEvent.mOmitted)
    {
        aText += "}\n";
        return;
    }
    aText += R"(,"payload":")";
    inPieces(aEvent.mPayload, aRelief, [&](qz::Bytes aPiece, std::size_t) { appendHex(aText, aPiece); });
    aText += "\"}\n";
}

void EventLine::appendTextOrigin(std::string& aText, EventOrigin const& aOrigin)
{
    if (aOrigin.mTime)
    {
        mTimes.append(aText, *aOrigin.mTime);
        aText += ' ';
    }
    if (mStyle.mNamesHosts && !aOrigin.mHost.empty())
    {
        aText += "host ";
        aText += shown(aOrigin.mHost);
        aText += ' ';
    }
    if (aOrigin.mBoard)
    {
        appendNumber(aText, "board ", *aOrigin.mBoard);
        aText += ' ';
    }
}

void EventLine::appendJsonOrigin(std::string& aText, EventOrigin const& aOrigin)
{
    aText += '{';
    if (aOrigin.mTime)
    {
        aText += R"("time":")";
        mTimes.append(aText, *aOrigin.mTime);
        aText += R"(",)";
    }
    if (!aOrigin.mHost.empty())
    {
        aText += R"("host":)";
        aText += shown(aOrigin.mHost);
        aText += ',';
    }
    if (aOrigin.mBoard)
    {
        appendNumber(aText, R"("board":)", *aOrigin.mBoard);
        aText += ',';
    }
}

/// @return the host in the form of the line
std::string const& EventLine::shown(std::string_view aHost)
{
    if (mHost != aHost)
    {
        mHost = aHost;
        mShownHost = mStyle.mForm == Form::json
                         ? nlohmann::json(mHost).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace)
                         : printable(mHost);
    }
    return mShownHost;
}
}  // namespace qzagent
