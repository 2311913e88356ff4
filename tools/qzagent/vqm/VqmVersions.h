/// @file
/// The versions that the layer over the vendor's diagnostic library finds.
#pragma once

#include <optional>
#include <string>

#include "tools/qzagent/cli/ErrorStream.h"

namespace qzagent
{
struct LibvqmVersions
{
    std::optional<std::string> mLibrary;
    std::optional<std::string> mDriver;
};

/// Reads the versions out of the log, the only place where the layer tells them, as long as it lives. All lines
/// that were shown before are shown still. One at a time.
class LibvqmVersionLog
{
public:
    /// @param aErrors   where the log lines are shown
    /// @param aVersions set to what is found
    LibvqmVersionLog(ErrorStream& aErrors, LibvqmVersions& aVersions);
    ~LibvqmVersionLog();
    LibvqmVersionLog(LibvqmVersionLog const&) = delete;
    LibvqmVersionLog& operator=(LibvqmVersionLog const&) = delete;

private:
    static void takeLine(void* aLog, char const* aLine, unsigned int aLength);

    ErrorStream& mErrors;
    LibvqmVersions& mVersions;
    unsigned int const mFormerMask;
};
}  // namespace qzagent
