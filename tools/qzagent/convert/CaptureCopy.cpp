#include "tools/qzagent/convert/CaptureCopy.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <new>
#include <optional>
#include <string>

#include <sys/stat.h>

#include "tools/qzagent/cli/ExitCodes.h"

namespace qzagent
{
namespace
{
constexpr std::size_t manyBytes = 65'536;
}  // namespace

CaptureCopy::CaptureCopy(std::string const& aPath) : mFile(aPath, S_IRUSR | S_IWUSR) {}

void CaptureCopy::write(qz::Bytes aBytes)
{
    if (aBytes.mSize >= manyBytes)
    {
        flush();
        mFile.write(aBytes);
        return;
    }
    mBytes.insert(mBytes.end(), aBytes.begin(), aBytes.end());
    if (mBytes.size() >= manyBytes)
    {
        flush();
    }
}

void CaptureCopy::finish()
{
    flush();
    mFile.finish();
}

void CaptureCopy::flush()
{
    mFile.write({mBytes.data(), mBytes.size()});
    mBytes.clear();
}

std::optional<Answer> runCopy(Setting const& aSetting, std::function<Answer()> const& aCopy)
{
    try
    {
        return aCopy();
    }
    catch (std::bad_alloc const&)
    {
        aSetting.mReport.addError(ExitCode::failed, "not enough memory; a smaller --max-record needs less");
    }
    catch (std::exception const& error)
    {
        aSetting.mReport.addError(ExitCode::failed, error.what());
    }
    return Answer();
}
}  // namespace qzagent
