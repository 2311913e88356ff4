/// @file
/// The journal: the changes of the world so far, one per line.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "simulator/control/MemoryFile.h"

namespace qzsim
{
/// With a file, all processes that use the file have the same changes. They open it for each access: a program may close
/// all descriptors that it does not know. Without a file, each object has its own changes.
class Journal
{
public:
    Journal() = default;

    /// @param aPath an existing file
    explicit Journal(std::string aPath) : mPath(std::move(aPath)) {}

    bool isShared() const { return !mPath.empty(); }

    /// @return the path of the file; empty without a file
    std::string const& path() const { return mPath; }

    /// @return whether a process still keeps the file, so that lines can follow; true without a file
    bool isKept() const;

    /// Adds a line.
    /// @throws std::runtime_error when the file cannot be written
    void append(std::string const& aLine);

    /// @return the lines that were added since the last call
    std::vector<std::string> takeNew();

private:
    /// Reads what was added to the file.
    void readFile();

    std::string mPath = {};
    std::string mUnread = {};   ///< content after the lines that were returned
    std::size_t mPosition = 0;  ///< in the file, after mUnread
};

/// The file of an empty journal.
using JournalFile = MemoryFile;
}  // namespace qzsim
