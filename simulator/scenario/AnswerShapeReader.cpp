#include "simulator/scenario/AnswerShapeReader.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <initializer_list>
#include <optional>

#include <fmt/format.h>
#include <hbaapi.h>

#include "simulator/scenario/Calls.h"
#include "toml/ValueReader.h"

namespace qzsim
{
namespace
{
using tomlfile::highestNumber;
using tomlfile::TomlValue;

/// A key that shapes an answer, and the calls that allow it.
struct ShapeKey
{
    char const* mName;
    std::initializer_list<Content> mContents;
    std::string_view mReason;  ///< why other calls do not allow it
};

/// Refuses a key for a fault whose call does not answer. A result replaces a call of the diagnostic library. A block of
/// mappings may also be filled when it is too small. Other answers are written only by calls that succeed.
void checkAnswers(TomlValue const& aValue, char const* aKey, Fault const& aFault)
{
    auto const& answer = aFault.mReaction.mAnswer;
    if (isDiagnostic(aFault.mCall))
    {
        if (answer)
        {
            aValue.refuse(fmt::format("no key \"{}\" together with \"result\"", aKey));
        }
        return;
    }
    HBA_STATUS const status = answer.value_or(HBA_STATUS_OK);
    bool const isMappings = contentOf(aFault.mCall) == Content::mappings;
    if (status != HBA_STATUS_OK && !(isMappings && status == HBA_STATUS_ERROR_MORE_DATA))
    {
        aValue.refuse(fmt::format("no key \"{}\" with a status other than HBA_STATUS_OK{}", aKey,
                                  isMappings ? " and HBA_STATUS_ERROR_MORE_DATA" : ""));
    }
}

void checkAllowed(TomlValue const& aValue, ShapeKey const& aKey, Fault const& aFault)
{
    Content const content = contentOf(aFault.mCall);
    if (std::find(aKey.mContents.begin(), aKey.mContents.end(), content) == aKey.mContents.end())
    {
        refuseKey(aValue, aKey.mName, aFault.mCall, aKey.mReason);
    }
    if (aFault.mReaction.mShape.mIsUntouched)
    {
        aValue.refuse(fmt::format("no key \"{}\" together with \"untouched\"", aKey.mName));
    }
    checkAnswers(aValue, aKey.mName, aFault);
}

std::uint32_t readAllowedNumber(TomlValue const& aValue, ShapeKey const& aKey, Fault const& aFault)
{
    checkAllowed(aValue, aKey, aFault);
    return readNumber(aValue, 0, highestNumber);
}

constexpr std::string_view noData = "writes no data";

bool reportsACount(Call aCall)
{
    Content const content = contentOf(aCall);
    return content == Content::mappings || content == Content::number || content == Content::boards ||
           aCall == Call::getAdapterAttributes || aCall == Call::getAdapterPortAttributes;
}
}  // namespace

void refuseKey(TomlValue const& aValue, char const* aKey, Call aCall, std::string_view aReason)
{
    aValue.refuse(fmt::format("no key \"{}\" for {}, which {}", aKey, nameOf(aCall), aReason));
}

void readUntouched(TomlValue const& aValue, Fault& aFault)
{
    constexpr char const* key = "untouched";
    Content const content = contentOf(aFault.mCall);
    if (content == Content::nothing || content == Content::number)
    {
        refuseKey(aValue, key, aFault.mCall, noData);
    }
    Reaction& reaction = aFault.mReaction;
    bool const isUntouched = aValue.as<TomlValue::Boolean>("true or false");
    if (!isUntouched)
    {
        return;
    }
    if (isDiagnostic(aFault.mCall))
    {
        checkAnswers(aValue, key, aFault);
    }
    else if (reaction.mAnswer.value_or(HBA_STATUS_OK) != HBA_STATUS_OK)
    {
        aValue.refuse("no key \"untouched\" with a status other than HBA_STATUS_OK");
    }
    else
    {
        reaction.mAnswer = HBA_STATUS_OK;
    }
    reaction.mShape.mIsUntouched = true;
}

void readGarbage(TomlValue const& aValue, Fault& aFault)
{
    checkAllowed(aValue,
                 {"garbage",
                  {Content::text, Content::record, Content::mappings, Content::luns, Content::response,
                   Content::boards},
                  "writes neither texts nor buffers"},
                 aFault);
    aFault.mReaction.mShape.mHasGarbage = aValue.as<TomlValue::Boolean>("true or false");
}

void readZeros(TomlValue const& aValue, Fault& aFault)
{
    checkAllowed(aValue, {"zeros", {Content::luns, Content::response}, "sends no SCSI command"}, aFault);
    AnswerShape& shape = aFault.mReaction.mShape;
    shape.mHasZeros = aValue.as<TomlValue::Boolean>("true or false");
    if (shape.mHasZeros && shape.mHasGarbage)
    {
        aValue.refuse("no key \"zeros\" together with \"garbage\"");
    }
}

void readLength(TomlValue const& aValue, Fault& aFault)
{
    aFault.mReaction.mShape.mLength =
        readAllowedNumber(aValue,
                          {"length",
                           {Content::text, Content::record, Content::counters, Content::luns,
                            Content::response, Content::boards},
                           contentOf(aFault.mCall) == Content::mappings ? "takes \"entries\"" : noData},
                          aFault);
}

void readEntries(TomlValue const& aValue, Fault& aFault)
{
    aFault.mReaction.mShape.mEntries = readAllowedNumber(
        aValue,
        {"entries", {Content::mappings, Content::boards}, "returns neither target mappings nor boards"},
        aFault);
}

void readMissing(TomlValue const& aValue, Fault& aFault)
{
    aFault.mReaction.mShape.mMissing = readAllowedNumber(aValue,
                                                         {"missing",
                                                          {Content::mappings, Content::luns, Content::boards},
                                                          "returns neither a list of LUNs nor boards"},
                                                         aFault);
}

void readCount(TomlValue const& aValue, Fault& aFault)
{
    constexpr std::string_view reason = "returns no number of adapters, ports, mappings or boards";
    if (!reportsACount(aFault.mCall))
    {
        refuseKey(aValue, "count", aFault.mCall, reason);
    }
    aFault.mReaction.mShape.mCount = readAllowedNumber(
        aValue, {"count", {Content::number, Content::mappings, Content::record, Content::boards}, reason},
        aFault);
}

void readListLength(TomlValue const& aValue, Fault& aFault)
{
    aFault.mReaction.mShape.mListLength =
        readAllowedNumber(aValue, {"list_length", {Content::luns}, "does not send REPORT LUNS"}, aFault);
}
}  // namespace qzsim
