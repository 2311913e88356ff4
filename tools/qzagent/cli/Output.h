/// @file
/// The standard output of the tool, kept clean of what the libraries print there.
#pragma once

#include <cstddef>
#include <string>

namespace qzagent
{
/// Takes standard output over for the process: whatever else writes to it from now on reaches standard error.
/// One is made at the very start.
class Output
{
public:
    Output();
    ~Output();
    Output(Output const&) = delete;
    Output& operator=(Output const&) = delete;

    bool isTerminal() const;

    /// Columns that a line may take: those of the terminal; 80 where there is none, or none that tells.
    std::size_t width() const;

    /// Waits until some text can be written, or it is known that none can.
    /// @param aDescriptor ends the waiting too, when there is something to read from it
    /// @return whether write() of at most PIPE_BUF bytes will not wait
    bool waitForRoom(int aDescriptor) const;

    /// @throws std::system_error "cannot write standard output: ..." unless all of it was written
    void write(std::string const& aText);

private:
    int mDescriptor;  ///< -1 when the process was started without a standard output
};
}  // namespace qzagent
