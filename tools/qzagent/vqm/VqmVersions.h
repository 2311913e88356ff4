/// @file
/// The versions of the vendor library and its driver, which the layer only logs.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "tools/qzagent/cli/ErrorStream.h"

namespace qzagent
{
struct LibvqmVersions
{
    std::optional<std::string> mLibrary;  ///< none when VQM_GetLibVer wrote no text
    std::optional<std::string> mDriver;   ///< none when VQM_InitDiagEnv wrote no text
};

/// Without boards the layer does not ask for the version.
/// @return the version of the vendor library, which must be loaded; none when VQM_GetLibVer writes no text or is missing
std::optional<std::string> libraryVersion();

/// Reads the versions from the log while the object exists, and names the call of the library as the current step. The
/// log lines that were shown before are still shown. Only one object may exist at a time.
class LibvqmVersionLog
{
public:
    /// @param aErrors   shows the log lines
    /// @param aVersions  set to the versions in the log
    /// @param aOnVersion called after each version
    LibvqmVersionLog(ErrorStream& aErrors, LibvqmVersions& aVersions, std::function<void()> aOnVersion);
    ~LibvqmVersionLog();
    LibvqmVersionLog(LibvqmVersionLog const&) = delete;
    LibvqmVersionLog& operator=(LibvqmVersionLog const&) = delete;

private:
    static void takeLine(void* aLog, char const* aLine, unsigned int aLength);

    ErrorStream& mErrors;
    LibvqmVersions& mVersions;
    std::function<void()> const mOnVersion;
    unsigned int const mFormerMask;
};
}  // namespace qzagent
