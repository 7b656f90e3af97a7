#include "files/file_set.hpp"

#include "files/replaced_file.hpp"

#include <sys/stat.h>
#include <filesystem>

namespace likeness {
namespace {

namespace fs = std::filesystem;

std::string placeOf(const std::string& path) {
    const fs::path followed = followedLinks(path);
    std::error_code error;
    const fs::path place = fs::weakly_canonical(followed, error);
    return (error ? followed.lexically_normal() : place).string();
}

std::optional<std::pair<::dev_t, ::ino_t>> inodeOf(const std::string& path) {
    struct ::stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return std::pair(status.st_dev, status.st_ino);
}

}  // namespace

void FileSet::add(const std::string& path, const std::string& text) {
    byPlace_.emplace(placeOf(path), text);
    if (const auto inode = inodeOf(path)) {
        byInode_.emplace(*inode, text);
    }
}

std::optional<std::string> FileSet::find(const std::string& path) const {
    if (const auto place = byPlace_.find(placeOf(path)); place != byPlace_.end()) {
        return place->second;
    }
    return findExisting(path);
}

std::optional<std::string> FileSet::findExisting(const std::string& path) const {
    if (const auto inode = inodeOf(path)) {
        if (const auto same = byInode_.find(*inode); same != byInode_.end()) {
            return same->second;
        }
    }
    return std::nullopt;
}

}  // namespace likeness
