#include "tools/qzframework-check/Child.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <system_error>

#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

namespace frameworkcheck
{
namespace
{
constexpr unsigned int secondsToCheck = 60;

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void fail(char const* aCall) { throw std::system_error(errno, std::generic_category(), aCall); }

File temporaryFile()
{
    File file(std::tmpfile(), std::fclose);
    if (file == nullptr)
    {
        fail("tmpfile");
    }
    return file;
}

std::string contentOf(int aDescriptor)
{
    std::string content;
    std::array<char, 4096> chunk{};
    ssize_t length = 0;
    while ((length = ::pread(aDescriptor, chunk.data(), chunk.size(), static_cast<off_t>(content.size()))) >
           0)
    {
        content.append(chunk.data(), static_cast<std::size_t>(length));
    }
    return content;
}

Finding find(Requirement const& aRequirement)
{
    try
    {
        aRequirement.mCheck();
        return {Result::met, ""};
    }
    catch (Unseen const& unseen)
    {
        return {Result::unseen, unseen.what()};
    }
    catch (Unmet const& unmet)
    {
        return {Result::unmet, unmet.what()};
    }
    catch (std::exception const& exception)
    {
        return {Result::unmet, fmt::format("unexpected exception: {}", exception.what())};
    }
}

/// @return the digit of the result and the reason, in which form the child passes them to its parent
std::string encodedForm(Finding const& aFinding)
{
    return static_cast<char>('0' + static_cast<int>(aFinding.mResult)) + aFinding.mReason;
}

Finding findingIn(std::string const& aEncoded)
{
    return {static_cast<Result>(aEncoded.front() - '0'), aEncoded.substr(1)};
}

[[noreturn]] void check(Requirement const& aRequirement, int aFinding, int aErrors)
{
    ::dup2(aErrors, STDERR_FILENO);
    std::string const finding = encodedForm(find(aRequirement));
    bool const isWritten =
        ::write(aFinding, finding.data(), finding.size()) == static_cast<ssize_t>(finding.size());
    ::_exit(isWritten ? 0 : 1);
}

/// Forks a child process that is terminated when it takes too long.
pid_t fork()
{
    std::fflush(nullptr);
    pid_t const child = ::fork();
    if (child < 0)
    {
        fail("fork");
    }
    if (child == 0)
    {
        ::alarm(secondsToCheck);
    }
    return child;
}

/// Waits for the process.
/// @return how the process ended, in words
std::string endOf(pid_t aChild)
{
    int status = 0;
    while (::waitpid(aChild, &status, 0) < 0 && errno == EINTR)
    {
    }
    if (!WIFSIGNALED(status))
    {
        return fmt::format("ended with exit status {}", WEXITSTATUS(status));
    }
    if (WTERMSIG(status) == SIGALRM)
    {
        return fmt::format("did not end within {} seconds", secondsToCheck);
    }
    return fmt::format("was terminated by signal {} ({})", WTERMSIG(status), ::strsignal(WTERMSIG(status)));
}
}  // namespace

Finding checkInChild(Requirement const& aRequirement)
{
    File const finding = temporaryFile();
    File const errors = temporaryFile();
    pid_t const child = fork();
    if (child == 0)
    {
        check(aRequirement, ::fileno(finding.get()), ::fileno(errors.get()));
    }
    std::string const end = endOf(child);
    std::string const encoded = contentOf(::fileno(finding.get()));
    return encoded.empty() ? Finding{Result::unmet, "the process " + end} : findingIn(encoded);
}

std::string standardError() { return contentOf(STDERR_FILENO); }

std::string endOfProcess(void (*aBody)())
{
    pid_t const child = fork();
    if (child == 0)
    {
        aBody();
        ::_exit(0);
    }
    return endOf(child);
}
}  // namespace frameworkcheck
