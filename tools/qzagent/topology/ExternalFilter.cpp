#include "tools/qzagent/topology/ExternalFilter.h"

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qzagent
{
namespace
{
struct CloseFile
{
    void operator()(std::FILE* aFile) const { std::fclose(aFile); }
};

using File = std::unique_ptr<std::FILE, CloseFile>;

/// The descriptors of a program.
class SpawnedFiles
{
public:
    SpawnedFiles(int aInput, int aOutput)
    {
        ::posix_spawn_file_actions_init(&mActions);
        ::posix_spawn_file_actions_adddup2(&mActions, aInput, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&mActions, aOutput, STDOUT_FILENO);
        ::posix_spawn_file_actions_addopen(&mActions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    ~SpawnedFiles() { ::posix_spawn_file_actions_destroy(&mActions); }
    SpawnedFiles(SpawnedFiles const&) = delete;
    SpawnedFiles& operator=(SpawnedFiles const&) = delete;

    posix_spawn_file_actions_t const* get() const { return &mActions; }

private:
    posix_spawn_file_actions_t mActions{};
};

std::optional<pid_t> started(std::vector<std::string>& aArguments, SpawnedFiles const& aFiles)
{
    std::vector<char*> arguments;
    for (std::string& argument : aArguments)
    {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    pid_t process = 0;
    int const error =
        ::posix_spawnp(&process, arguments.front(), aFiles.get(), nullptr, arguments.data(), environ);
    return error == 0 ? std::optional(process) : std::nullopt;
}

/// @return whether the process ended in time, and with status 0
bool hasSucceeded(pid_t aProcess, std::chrono::milliseconds aLongest)
{
    constexpr std::chrono::milliseconds step(5);
    auto const end = std::chrono::steady_clock::now() + aLongest;
    int status = 0;
    pid_t ended = 0;
    while ((ended = ::waitpid(aProcess, &status, WNOHANG)) == 0 && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::sleep_for(step);
    }
    if (ended == 0)
    {
        ::kill(aProcess, SIGKILL);
        ::waitpid(aProcess, &status, 0);
    }
    return ended == aProcess && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string contentFromStart(std::FILE* aFile)
{
    std::string text;
    std::rewind(aFile);
    char piece[65536];
    while (std::size_t const size = std::fread(piece, 1, sizeof piece, aFile))
    {
        text.append(piece, size);
    }
    return text;
}
}  // namespace

std::optional<std::string> filtered(std::vector<std::string> aArguments, std::string const& aInput,
                                    std::chrono::milliseconds aLongest)
{
    // With files instead of pipes, neither side can wait for the other.
    File const input(std::tmpfile());
    File const output(std::tmpfile());
    if (!input || !output || std::fwrite(aInput.data(), 1, aInput.size(), input.get()) != aInput.size() ||
        std::fflush(input.get()) != 0)
    {
        return {};
    }
    std::rewind(input.get());
    SpawnedFiles const files(::fileno(input.get()), ::fileno(output.get()));
    std::optional<pid_t> const process = started(aArguments, files);
    if (!process || !hasSucceeded(*process, aLongest))
    {
        return {};
    }
    return contentFromStart(output.get());
}
}  // namespace qzagent
