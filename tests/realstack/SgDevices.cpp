/// @file
/// To be preloaded: answers for the devices /dev/sgN of the machine in the folder SG_MACHINE. The answers are lines of
/// the file sg/sgN there, as make_machine.py describes them. A file without any permission stands for
/// a device that nobody may open. Nothing is kept between calls, so threads need no lock.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <fcntl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
using Bytes = std::vector<unsigned char>;

constexpr unsigned char statusCheckCondition = 0x02;
constexpr unsigned char statusBusy = 0x08;
constexpr unsigned short driverSense = 0x08;

struct Answer
{
    unsigned char mStatus = 0;
    Bytes mData;
    Bytes mSense;
};

std::string machine()
{
    char const* const folder = std::getenv("SG_MACHINE");
    return folder == nullptr ? "" : folder;
}

/// @return the file that stands for a device, or the path itself if it is none of these devices
std::string fileOf(char const* aPath)
{
    std::string const path = aPath;
    std::string const devices = "/dev/sg";
    bool const isDevice = path.compare(0, devices.size(), devices) == 0;
    return isDevice && !machine().empty() ? machine() + "/sg/" + path.substr(std::strlen("/dev/")) : path;
}

/// @return whether the file stands for a device that nobody may open, not even root, which may run the tests
bool isForbidden(std::string const& aFile, char const* aPath)
{
    struct stat status = {};
    return aFile != aPath && stat(aFile.c_str(), &status) == 0 && (status.st_mode & ALLPERMS) == 0;
}

/// @return the file that stands for the device that is open, if one does
std::optional<std::string> deviceOf(int aDescriptor)
{
    std::array<char, 4096> path{};
    std::string const link = "/proc/self/fd/" + std::to_string(aDescriptor);
    if (readlink(link.c_str(), path.data(), path.size() - 1) < 0)
    {
        return std::nullopt;
    }
    std::string const file = path.data();
    std::string const folder = machine() + "/sg/";
    return !machine().empty() && file.compare(0, folder.size(), folder) == 0 ? std::optional(file)
                                                                             : std::nullopt;
}

Bytes bytesOf(std::string const& aHex)
{
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < aHex.size(); i += 2)
    {
        bytes.push_back(static_cast<unsigned char>(std::stoul(aHex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

/// Sense data in fixed format.
Bytes sense(unsigned char aKey, unsigned char aCode, unsigned char aQualifier)
{
    return {0x70, 0, aKey, 0, 0, 0, 0, 10, 0, 0, 0, 0, aCode, aQualifier, 0, 0, 0, 0};
}

Answer checkCondition(std::string const& aKey, std::string const& aCode, std::string const& aQualifier)
{
    Bytes const numbers = bytesOf(aKey + aCode + aQualifier);
    return {statusCheckCondition, {}, sense(numbers.at(0), numbers.at(1), numbers.at(2))};
}

Answer answerOf(std::istream& aWords)
{
    std::string kind;
    std::string data;
    aWords >> kind >> data;
    if (kind == "busy")
    {
        return {statusBusy, {}, {}};
    }
    if (kind == "check")
    {
        std::string code;
        std::string qualifier;
        aWords >> code >> qualifier;
        return checkCondition(data, code, qualifier);
    }
    return {0, bytesOf(data), {}};
}

std::string hexOf(unsigned char aByte)
{
    constexpr char const* digits = "0123456789abcdef";
    return {digits[aByte >> 4U], digits[aByte & 0xfU]};
}

/// The operation code, for a page of INQUIRY with its number.
std::string nameOf(sg_io_hdr_t const& aRequest)
{
    constexpr unsigned char inquiry = 0x12;
    bool const isPage = aRequest.cmdp[0] == inquiry && (aRequest.cmdp[1] & 1U) != 0;
    return hexOf(aRequest.cmdp[0]) + (isPage ? ":" + hexOf(aRequest.cmdp[2]) : "");
}

void vanish(std::string const& aPath)
{
    std::string const path = machine() + "/" + aPath;
    std::remove(path.c_str());
}

void give(Answer const& aAnswer, sg_io_hdr_t& aRequest)
{
    std::size_t const size = std::min<std::size_t>(aAnswer.mData.size(), aRequest.dxfer_len);
    std::size_t const senseSize = std::min<std::size_t>(aAnswer.mSense.size(), aRequest.mx_sb_len);
    std::copy_n(aAnswer.mData.begin(), size, static_cast<unsigned char*>(aRequest.dxferp));
    std::copy_n(aAnswer.mSense.begin(), senseSize, aRequest.sbp);
    aRequest.resid = static_cast<int>(aRequest.dxfer_len - size);
    aRequest.sb_len_wr = static_cast<unsigned char>(senseSize);
    aRequest.status = aAnswer.mStatus;
    aRequest.masked_status = static_cast<unsigned char>(aAnswer.mStatus >> 1U);
    aRequest.host_status = 0;
    aRequest.driver_status = senseSize > 0 ? driverSense : 0;
    aRequest.info = aAnswer.mStatus == 0 ? SG_INFO_OK : SG_INFO_CHECK;
}

int answer(std::string const& aDevice, sg_io_hdr_t& aRequest)
{
    std::ifstream file(aDevice);
    if (!file)
    {
        errno = ENODEV;
        return -1;
    }
    std::string const name = nameOf(aRequest);
    Answer found = checkCondition("05", "20", "00");  // ILLEGAL REQUEST, invalid command operation code
    for (std::string line; std::getline(file, line);)
    {
        std::istringstream words(line);
        std::string first;
        std::string second;
        std::string third;
        words >> first;
        if (first == name)
        {
            found = answerOf(words);
        }
        else if (first == "after" && words >> second >> third && second == name)
        {
            vanish(third);
        }
    }
    give(found, aRequest);
    return 0;
}

template <typename Function>
Function next(char const* aName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, aName));
}

using Open = int (*)(char const*, int, ...);

mode_t modeOf(int aFlags, std::va_list aArguments)
{
    return (aFlags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(aArguments, mode_t) : 0;
}

int openFile(Open aOpen, char const* aPath, int aFlags, mode_t aMode)
{
    std::string const file = fileOf(aPath);
    if (isForbidden(file, aPath))
    {
        errno = EACCES;
        return -1;
    }
    return aOpen(file.c_str(), aFlags, aMode);
}
}  // namespace

extern "C" int open(char const* aPath, int aFlags, ...)
{
    std::va_list arguments;
    va_start(arguments, aFlags);
    mode_t const mode = modeOf(aFlags, arguments);
    va_end(arguments);
    return openFile(next<Open>("open"), aPath, aFlags, mode);
}

extern "C" int open64(char const* aPath, int aFlags, ...)
{
    std::va_list arguments;
    va_start(arguments, aFlags);
    mode_t const mode = modeOf(aFlags, arguments);
    va_end(arguments);
    return openFile(next<Open>("open64"), aPath, aFlags, mode);
}

extern "C" int ioctl(int aDescriptor, unsigned long aRequest, ...) noexcept
{
    std::va_list arguments;
    va_start(arguments, aRequest);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    std::optional<std::string> const device = aRequest == SG_IO ? deviceOf(aDescriptor) : std::nullopt;
    using Ioctl = int (*)(int, unsigned long, ...);
    return device ? answer(*device, *static_cast<sg_io_hdr_t*>(argument))
                  : next<Ioctl>("ioctl")(aDescriptor, aRequest, argument);
}
