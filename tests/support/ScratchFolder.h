/// @file
/// A temporary folder for the files of one test.
#pragma once

#include <filesystem>
#include <string>

/// Creates the folder, and removes it with everything in it.
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
