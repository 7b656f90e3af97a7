// Which files names stand for, whatever the names.
#pragma once

#include <sys/types.h>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace likeness {

/// Files with a text for each, found again under any name that leads to them: through symbolic links, hard links,
/// folders that are links, and, where a file does not exist yet, through the name that it would be made under.
class FileSet {
public:
    /// Of two texts for one file the first stays.
    void add(const std::string& path, const std::string& text);

    /// The text of the file that `path` leads to; nothing if it is none of these.
    std::optional<std::string> find(const std::string& path) const;

    /// The same for a file that exists, in less time.
    std::optional<std::string> findExisting(const std::string& path) const;

private:
    std::map<std::string, std::string> byPlace_;
    std::map<std::pair<::dev_t, ::ino_t>, std::string> byInode_;
};

}  // namespace likeness
