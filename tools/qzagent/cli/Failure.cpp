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
}  // namespace

Failure failureOf(std::exception const& aException)
{
    return {nameOf(typeid(aException)), aException.what(), codeOf(aException)};
}

std::string textOf(Failure const& aFailure)
{
    return fmt::format("{}: {} (code {})", aFailure.mException, aFailure.mText, aFailure.mCode);
}

nlohmann::ordered_json jsonOf(Failure const& aFailure)
{
    return {{"exception", aFailure.mException}, {"text", aFailure.mText}, {"code", aFailure.mCode}};
}
}  // namespace qzagent
