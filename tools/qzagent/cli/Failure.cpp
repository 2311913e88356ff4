#include "tools/qzagent/cli/Failure.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <typeinfo>

#include <cxxabi.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "backend/common/include/Exception.h"
#include "tools/qzagent/cli/ExitCodes.h"

namespace qzagent
{
namespace
{
std::string nameOf(std::type_info const& aType)
{
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> const name(
        abi::__cxa_demangle(aType.name(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? name.get() : aType.name();
}

unsigned int codeOf(std::exception const& aException)
{
    auto const* const ours = dynamic_cast<QZCException const*>(&aException);
    return ours != nullptr ? ours->getCode() : static_cast<unsigned int>(ExitCode::failed);
}

void addName(nlohmann::ordered_json& aJson, std::string const& aKey, std::string const& aName)
{
    if (!aName.empty())
    {
        aJson[aKey] = aName;
    }
}

void add(nlohmann::ordered_json& aJson, std::string const& aKey, NamedNumber const& aNumber)
{
    aJson[aKey] = aNumber.mNumber;
    addName(aJson, aKey + "_name", aNumber.mName);
}
}  // namespace

Failure failureOf(std::exception const& aException)
{
    return {nameOf(typeid(aException)), aException.what(), codeOf(aException)};
}

std::string textOf(Failure const& aFailure)
{
    return fmt::format("{}: {} (code {})", aFailure.mException, aFailure.mText, aFailure.mCode);
}

nlohmann::ordered_json jsonOf(Cause const& aCause)
{
    nlohmann::ordered_json json{{"call", aCause.mCall}, {"function", aCause.mFunction}};
    if (aCause.mStatus)
    {
        add(json, "status", *aCause.mStatus);
    }
    if (aCause.mScsi)
    {
        add(json, "scsi_status", aCause.mScsi->mStatus);
        if (aCause.mScsi->mSenseKey)
        {
            add(json, "sense_key", *aCause.mScsi->mSenseKey);
        }
        if (aCause.mScsi->mAdditionalSense)
        {
            json["asc"] = aCause.mScsi->mAdditionalSense->mNumber >> 8U;
            json["ascq"] = aCause.mScsi->mAdditionalSense->mNumber & 0xffU;
            addName(json, "additional_sense", aCause.mScsi->mAdditionalSense->mName);
        }
    }
    json["text"] = aCause.mText;
    return json;
}

nlohmann::ordered_json jsonOf(Failure const& aFailure)
{
    nlohmann::ordered_json json{
        {"exception", aFailure.mException}, {"text", aFailure.mText}, {"code", aFailure.mCode}};
    if (aFailure.mCause)
    {
        json["cause"] = jsonOf(*aFailure.mCause);
    }
    return json;
}
}  // namespace qzagent
