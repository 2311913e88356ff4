/// @file
/// Files that are replaced as a whole.
#pragma once

#include <string>

#include <sys/types.h>

namespace qzagent
{
/// @throws std::system_error "cannot write PATH: ..." when replaceFile() would refuse the path
void expectReplaceable(std::string const& aPath);

/// Writes the text to a new file beside the old one, and gives it the name of the old one. Readers see the old text or
/// the new one. After a failure, the old file is unchanged. If the process is killed meanwhile, nothing else remains,
/// where the file system has files without a name.
/// @param aPath of a regular file, or of none. Devices and links are refused, because they would be replaced too
/// @param aMode the permissions, whatever the umask; readable for all by default
/// @throws std::system_error "cannot write PATH: ..."
void replaceFile(std::string const& aPath, std::string const& aText, mode_t aMode = 0644);
}  // namespace qzagent
