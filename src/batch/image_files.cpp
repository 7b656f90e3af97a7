#include "batch/image_files.hpp"

#include "batch/result_record.hpp"
#include "diagnostics/shown_text.hpp"
#include "files/refusal.hpp"

#include <algorithm>
#include <filesystem>
#include <string_view>

namespace likeness {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view imageExtensions[] = {
    ".arw",  ".avif", ".bmp", ".cr2", ".cr3", ".crw", ".dib",  ".dng",  ".exr", ".gif", ".hdr", ".heic",
    ".heif", ".j2c",  ".j2k", ".jp2", ".jpc", ".jpe", ".jpeg", ".jpg",  ".jxl", ".mrw", ".nef", ".orf",
    ".pam",  ".pbm",  ".pef", ".pfm", ".pgm", ".pic", ".png",  ".pnm",  ".ppm", ".psb", ".psd", ".pxm",
    ".raf",  ".ras",  ".rw2", ".sr",  ".srw", ".tif", ".tiff", ".webp", ".x3f"};

}  // namespace

std::string whyNoImageFile(const fs::directory_entry& entry) {
    std::error_code error;
    if (entry.is_symlink() && entry.is_directory(error)) {
        return "is a link to a folder, and such links are not followed";
    }
    if (entry.is_symlink() && !entry.exists(error)) {
        return "is a link that leads nowhere";
    }
    if (!entry.is_regular_file(error)) {
        return "is not a regular file";
    }
    const std::string extension = entry.path().extension().string();
    if (extension.empty()) {
        return "has no extension that tells of an image";
    }
    const bool listed = std::find(std::begin(imageExtensions), std::end(imageExtensions), lowerCase(extension)) !=
                        std::end(imageExtensions);
    return listed ? "" : "has the extension '" + extension + "', which is none of an image that is read";
}

bool isUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8Length(text, at);
        if (length == 0 || text[at] == '\0') {
            return false;
        }
        at += length;
    }
    return true;
}

std::vector<ImageFile> imageFilesIn(const std::string& option, const std::string& folder,
                                    std::vector<LeftOutFile>& leftOut) {
    std::vector<ImageFile> images;
    const std::size_t before = leftOut.size();
    try {
        if (!fs::is_directory(folder)) {
            throw Refusal(option + ": '" + folder + (fs::exists(folder) ? "' is not a folder" : "' does not exist"));
        }
        for (const auto& entry : fs::recursive_directory_iterator(folder)) {
            const fs::path relative = entry.path().lexically_relative(folder);
            const std::string path = (fs::path(folder) / relative).string();
            if (entry.is_directory() && !entry.is_symlink()) {
                continue;
            }
            if (std::string why = whyNoImageFile(entry); !why.empty()) {
                leftOut.push_back({path, std::move(why)});
                continue;
            }
            images.push_back({path, relative.string()});
        }
    } catch (const fs::filesystem_error& error) {
        throw Refusal(option + ": cannot read '" + error.path1().string() + "': " + error.code().message());
    }
    std::sort(leftOut.begin() + static_cast<std::ptrdiff_t>(before), leftOut.end(),
              [](const auto& a, const auto& b) { return a.path < b.path; });
    return images;
}

}  // namespace likeness
