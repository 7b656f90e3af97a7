#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace likeness {

/// What a path names once the symbolic links at its end are followed, also where the last one leads to nothing yet;
/// absolute. The folders on the way may be links.
std::filesystem::path followedLinks(const std::string& path);

/// Writes a file as a whole: the bytes go into a new file of a temporary name beside it, which then takes the name,
/// with the permissions of the file that it replaces. On failure an existing file is left as it was and nothing else
/// stays behind; what a killed process leaves of the new file, the next that writes the same one takes. Through a
/// symbolic link the file that it names is replaced, or made; what is no regular file (/dev/stdout, a pipe) is written
/// directly. The bytes are on the disk before the file takes the name, so that not even a power failure leaves half of
/// it.
/// @throws Refusal  if it cannot be written, with the reason
void replaceFile(const std::string& path, std::string_view bytes);

/// What a path names once symbolic links are followed, also where the last one leads to nothing yet. A path that is no
/// symbolic link stays as it is.
std::string behindLinks(const std::string& path);

/// Sees to it that what a file or a folder holds is on the disk, as far as the file system can.
void synchronizeFile(const std::string& path) noexcept;

/// The same for the folder of a file, so that its name is on the disk.
void synchronizeFolderOf(const std::string& path) noexcept;

}  // namespace likeness
