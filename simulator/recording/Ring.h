/// @file
/// Memory through which the recorded processes pass what they record to the runner.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "agentkit/include/Bytes.h"
#include "simulator/control/MemoryFile.h"

namespace qzsim
{
/// A queue of records in a file that processes map. A record is complete in the queue or not there: what a killed process
/// was writing is forgotten, and what it had written remains. When the queue is full, writers wait for the reader.
/// Thread-safety: any number of threads of any number of processes may write, and one thread may read.
class Ring
{
public:
    /// What a process records.
    struct Record
    {
        std::uint64_t mTime;  ///< nanoseconds since 1970-01-01 UTC; not before that of the previous record
        std::string_view mLibrary;  ///< path of the library that it concerns
        qz::Bytes mContent;
    };

    /// Maps an existing file.
    /// @throws std::runtime_error when the file cannot be mapped
    explicit Ring(std::string const& aPath);

    /// Adds a record with the present time.
    /// @return false if the record is too large, or nobody reads any more
    bool write(std::string_view aLibrary, qz::Bytes aContent) noexcept;

    /// @return a number that no other call has returned, from 1
    std::uint32_t nextNumber() noexcept;

    /// Calls the function with each record in the queue.
    void read(std::function<void(Record const&)> const& aTake);

    /// Makes writers return from now on. What they have written can still be read.
    void close() noexcept;

private:
    friend class RingFile;
    struct Shared;
    class Lock;

    void copyIn(std::uint64_t aPosition, void const* aBytes, std::size_t aSize) noexcept;
    void copyOut(std::uint64_t aPosition, void* aBytes, std::size_t aSize) const;
    bool isReaderAlive() const noexcept;

    std::shared_ptr<Shared> mShared;
};

/// The file of an empty queue. Its owner reads the queue.
class RingFile : public MemoryFile
{
public:
    /// @throws std::runtime_error when the file cannot be created
    RingFile();
};
}  // namespace qzsim
