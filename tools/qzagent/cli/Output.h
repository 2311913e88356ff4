/// @file
/// The standard output of the tool, to which nothing else in the process can write.
#pragma once

#include <cstddef>
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

    /// @throws std::system_error "cannot write standard output: ..." when the text cannot be written in full
    /// @{
    void write(std::string const& aText);
    void writeWhole(
        std::string const& aText);  ///< on failure removes the written part again, if it is in a file
    /// @}

private:
    std::size_t writeUntilError(std::string const& aText);
    void removeLast(std::size_t aSize);

    int mDescriptor;  ///< -1 when the process was started without a standard output
};
}  // namespace qzagent
