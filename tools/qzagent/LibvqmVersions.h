/// @file
/// The versions that the layer over the vendor's diagnostic library finds.
#pragma once

#include <optional>
#include <string>

#include "tools/qzagent/ErrorStream.h"

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
    /// @param arErrors   where the log lines are shown
    /// @param arVersions set to what is found
    LibvqmVersionLog(ErrorStream& arErrors, LibvqmVersions& arVersions);
    ~LibvqmVersionLog();
    LibvqmVersionLog(LibvqmVersionLog const&) = delete;
    LibvqmVersionLog& operator=(LibvqmVersionLog const&) = delete;

private:
    static void takeLine(void* apLog, char const* apLine, unsigned int aLength);

    ErrorStream& mErrors;
    LibvqmVersions& mVersions;
    unsigned int const mFormerMask;
};
}  // namespace qzagent
