// Pairs of photographs to be compared: from lists and from folders.
#pragma once

#include "batch/image_files.hpp"
#include "batch/result_record.hpp"
#include "batch/shard.hpp"

#include <cstdint>
#include <filesystem>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

struct Pair {
    std::uint64_t position = 0;  ///< in the whole list, from 1
    std::string id;
    std::string first;
    std::string second;
    std::vector<CarriedValue> carried;  ///< one per column of the list, in that order
};

/// The pairs of a list, or of one shard of it, in the list's order. They are kept as packed text, some 20 bytes a pair
/// on top of the text itself.
class PairList {
public:
    explicit PairList(Shard shard = {}) : shard_(shard) {}

    /// Adds the list's next pair; keeps it if it belongs to the shard.
    void add(std::string_view id, std::string_view first, std::string_view second,
             const std::vector<CarriedValue>& carried);

    /// Pairs of the shard.
    std::size_t size() const noexcept { return places_.size(); }
    /// Pairs of the whole list.
    std::uint64_t total() const noexcept { return total_; }
    /// Pair `k`, 0..size() - 1, of the shard.
    Pair at(std::size_t k) const;

    /// Names of the further columns.
    const std::vector<std::string>& columns() const noexcept { return columns_; }
    /// Place of a column, which is added if it is new.
    std::size_t column(const std::string& name);

private:
    struct Place {
        std::uint64_t offset;
        std::uint64_t position;
    };

    Shard shard_;
    std::uint64_t total_ = 0;
    std::string text_;
    std::vector<Place> places_;
    std::vector<std::string> columns_;
};

enum class ListFormat { csv, tsv, jsonLines };

/// Reads a list: see docs/formats.md.
/// @param name    of the list, for refusals
/// @param format  nothing: the first line tells
/// @throws Refusal  with the line's number: no pairs, missing or doubled columns, broken quoting, a doubled id, text
///                  that is not UTF-8
PairList readPairs(std::istream& in, const std::string& name, std::optional<ListFormat> format, Shard shard);

/// The same from a file, or from standard input for "-". Without a format the extension tells, else the first line.
PairList readPairs(const std::string& path, std::optional<ListFormat> format, Shard shard);

/// The image files of two folders and their subfolders, paired by relative path without extension, in the order of
/// these paths.
struct FolderPairs {
    PairList pairs;
    std::vector<std::string> unpaired;  ///< paths of image files without a partner

    using LeftOut = LeftOutFile;
    std::vector<LeftOut> leftOut;  ///< in the order of the paths, those of the first folder first
};

/// @throws Refusal  a folder that cannot be read, two files of one folder that differ in the extension only, no pairs
FolderPairs pairFolders(const std::string& first, const std::string& second, Shard shard);

/// The pairs as a CSV list that `readPairs` reads.
std::string csvList(const PairList& pairs);

}  // namespace likeness
