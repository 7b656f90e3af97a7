// The image files of a folder.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

/// A file that is not looked at.
struct LeftOutFile {
    std::string path;
    std::string why;  ///< "has ...": goes on from the path
};

struct ImageFile {
    std::string path;
    std::string relative;  ///< from the folder
};

/// The image files of a folder and its subfolders, told by their extensions. Links to folders are not followed.
/// @param option   that names the folder, for refusals
/// @param leftOut  gets the others, but for folders, in the order of their paths
/// @throws Refusal  if a folder cannot be read
std::vector<ImageFile> imageFilesIn(const std::string& option, const std::string& folder,
                                    std::vector<LeftOutFile>& leftOut);

/// Why a thing in a folder is no image file to be compared; empty if it is one.
std::string whyNoImageFile(const std::filesystem::directory_entry& entry);

/// Whether the text is UTF-8 (RFC 3629) without NUL.
bool isUtf8(std::string_view text);

}  // namespace likeness
