/// @file
/// The standard output of the tool, to which nothing else in the process can write.
#pragma once

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace qzagent
{
/// Takes over standard output: everything else in the process that writes to it reaches standard error instead.
/// main() creates one object before anything else.
class Output
{
public:
    Output();
    ~Output();
    Output(Output const&) = delete;
    Output& operator=(Output const&) = delete;

    bool isTerminal() const;

    /// @return number of columns of the terminal; 80 when there is no terminal or its width is unknown
    std::size_t width() const;

    /// Waits until standard output accepts text or reports an error, or until the descriptor becomes readable.
    /// @param aDescriptor the descriptor that ends the wait early
    /// @return whether write() of at most PIPE_BUF bytes returns without blocking
    bool waitForRoom(int aDescriptor) const;

    /// @param aTime longest time to wait
    /// @return whether write() of at most PIPE_BUF bytes returns without blocking
    bool hasRoom(std::chrono::milliseconds aTime = {}) const;

    /// Writes the text. When the reader of a pipe has left after it read at least one whole line, that is no failure,
    /// and nothing more is written.
    /// @throws std::system_error "cannot write standard output: ..." when the text cannot be written in full
    void write(std::string const& aText);

    /// As write(), but a failure leaves no part of the text in a file.
    void writeWhole(std::string const& aText);

    /// @return whether the reader has left after it read a whole line
    bool isAbandoned() const { return mIsAbandoned; }

    /// For poll(), which reports POLLERR when the reader of a pipe has left; -1 when there is no standard output.
    int descriptor() const { return mDescriptor; }

    /// To call when the reader of a pipe has left.
    /// @throws std::system_error "cannot write standard output: Broken pipe" when it has not read a whole line
    void handleMissingReader() { refuse(EPIPE); }

private:
    std::size_t writeUntilError(std::string const& aText);
    void count(std::string_view aWritten);
    void refuse(int aError);
    std::size_t unread() const;
    void removeLast(std::size_t aSize);

    std::size_t mWritten = 0;               ///< number of bytes
    std::optional<std::size_t> mFirstLine;  ///< its length; none until it is written
    bool mIsAbandoned = false;
    int mDescriptor;  ///< -1 when the process was started without a standard output
};
}  // namespace qzagent
