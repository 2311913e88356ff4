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

/// A block of mappings may also be filled when it is too small. Other answers are written only by calls that succeed.
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
    HBA_STATUS const status = aFault.mReaction.mAnswer.value_or(HBA_STATUS_OK);
    bool const isMappings = content == Content::mappings;
    if (status != HBA_STATUS_OK && !(isMappings && status == HBA_STATUS_ERROR_MORE_DATA))
    {
        aValue.refuse(fmt::format("no key \"{}\" with a status other than HBA_STATUS_OK{}", aKey.mName,
                                  isMappings ? " and HBA_STATUS_ERROR_MORE_DATA" : ""));
    }
}

std::uint32_t readAllowedNumber(TomlValue const& aValue, ShapeKey const& aKey, Fault const& aFault)
{
    checkAllowed(aValue, aKey, aFault);
    return readNumber(aValue, 0, highestNumber);
}

bool reportsACount(Call aCall)
{
    return contentOf(aCall) == Content::mappings || aCall == Call::getAdapterAttributes ||
           aCall == Call::getAdapterPortAttributes;
}
}  // namespace

void refuseKey(TomlValue const& aValue, char const* aKey, Call aCall, std::string_view aReason)
{
    aValue.refuse(fmt::format("no key \"{}\" for {}, which {}", aKey, nameOf(aCall), aReason));
}

void readUntouched(TomlValue const& aValue, Fault& aFault)
{
    if (contentOf(aFault.mCall) == Content::nothing)
    {
        refuseKey(aValue, "untouched", aFault.mCall, "is no query of the HBA API");
    }
    Reaction& reaction = aFault.mReaction;
    bool const isUntouched = aValue.as<TomlValue::Boolean>("true or false");
    if (isUntouched && reaction.mAnswer.value_or(HBA_STATUS_OK) != HBA_STATUS_OK)
    {
        aValue.refuse("no key \"untouched\" with a status other than HBA_STATUS_OK");
    }
    if (isUntouched)
    {
        reaction.mAnswer = HBA_STATUS_OK;
    }
    reaction.mShape.mIsUntouched = isUntouched;
}

void readGarbage(TomlValue const& aValue, Fault& aFault)
{
    checkAllowed(aValue,
                 {"garbage",
                  {Content::name, Content::record, Content::mappings, Content::luns, Content::response},
                  "writes neither texts nor buffers"},
                 aFault);
    aFault.mReaction.mShape.mHasGarbage = aValue.as<TomlValue::Boolean>("true or false");
}

void readLength(TomlValue const& aValue, Fault& aFault)
{
    aFault.mReaction.mShape.mLength = readAllowedNumber(
        aValue,
        {"length",
         {Content::name, Content::record, Content::counters, Content::luns, Content::response},
         contentOf(aFault.mCall) == Content::mappings ? "takes \"entries\"" : "is no query of the HBA API"},
        aFault);
}

void readEntries(TomlValue const& aValue, Fault& aFault)
{
    aFault.mReaction.mShape.mEntries = readAllowedNumber(
        aValue, {"entries", {Content::mappings}, "does not return target mappings"}, aFault);
}

void readMissing(TomlValue const& aValue, Fault& aFault)
{
    aFault.mReaction.mShape.mMissing = readAllowedNumber(
        aValue, {"missing", {Content::mappings, Content::luns}, "does not return a list of LUNs"}, aFault);
}

void readCount(TomlValue const& aValue, Fault& aFault)
{
    constexpr std::string_view reason = "does not return a number of mappings or ports";
    if (!reportsACount(aFault.mCall))
    {
        refuseKey(aValue, "count", aFault.mCall, reason);
    }
    aFault.mReaction.mShape.mCount =
        readAllowedNumber(aValue, {"count", {Content::mappings, Content::record}, reason}, aFault);
}

void readListLength(TomlValue const& aValue, Fault& aFault)
{
    aFault.mReaction.mShape.mListLength =
        readAllowedNumber(aValue, {"list_length", {Content::luns}, "does not send REPORT LUNS"}, aFault);
}
}  // namespace qzsim
