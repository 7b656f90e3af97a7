// What is searched for by a name.
#pragma once

#include "archive/archive_file.hpp"
#include "photofile/managed_colors.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace likeness {

struct ArchiveQuery {
    std::optional<std::size_t> entry;  ///< of the archive, where the path is that of one
    AppearanceDistributions distributions;
};

/// The entry of a path, if its file is as it was or is not there any more; else the file, analysed with the archive's
/// options.
/// @param profiles  as of the archive. One that says which part counts is of the file: entries stand for the path only
///                  where the archive is of that part
/// @param warn      told what the user should know, a line each
/// @throws Refusal  the photograph cannot be read, or would be analysed in another way than the archive's
ArchiveQuery archiveQuery(const ArchiveFile& archive, const std::string& path, std::uint64_t mostPixels,
                          const ProfileChoice& profiles, const std::function<void(const std::string& line)>& warn);

}  // namespace likeness
