/// @file
/// A folder for the files of one test.
#pragma once

#include <filesystem>
#include <string>

/// Exists, and everything in it, as long as the object.
class ScratchFolder
{
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(ScratchFolder const&) = delete;
    ScratchFolder& operator=(ScratchFolder const&) = delete;

    std::filesystem::path const& path() const;

    /// Writes a file and returns its path.
    std::string write(std::string const& aName, std::string const& aContent) const;

private:
    std::filesystem::path mPath;
};
