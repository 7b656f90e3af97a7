// Names of many photographs in little memory: their bytes one behind the other in blocks, and 12 more for each.
#pragma once

#include "archive/archive_bytes.hpp"
#include "archive/path_search.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace likeness {

class PathNames {
public:
    void add(std::string_view path) {
        if (blocks_.empty() || blocks_.back().capacity() - blocks_.back().size() < path.size() + lengthBytes) {
            blocks_.emplace_back().reserve(std::max(blockBytes, path.size() + lengthBytes));
        }
        std::string& block = blocks_.back();
        names_.push_back({static_cast<std::uint32_t>(blocks_.size() - 1), static_cast<std::uint32_t>(block.size())});
        archive::put(block, static_cast<std::uint32_t>(path.size()));
        block += path;
    }

    std::size_t size() const noexcept { return names_.size(); }
    bool empty() const noexcept { return names_.empty(); }

    /// Valid until another is added.
    std::string_view operator[](std::size_t k) const { return at(names_[k]); }

    /// Puts them in the order of their bytes, and drops what is there twice.
    void sortUnique() {
        std::sort(names_.begin(), names_.end(), [this](auto a, auto b) { return at(a) < at(b); });
        const auto end = std::unique(names_.begin(), names_.end(), [this](auto a, auto b) { return at(a) == at(b); });
        names_.erase(end, names_.end());
    }

    /// Leaves out those for which `keep` is false.
    template <typename Keep>
    void select(const Keep& keep) {
        const auto end = std::remove_if(names_.begin(), names_.end(), [&](auto begin) { return !keep(at(begin)); });
        names_.erase(end, names_.end());
    }

    /// Of names in order.
    bool contains(std::string_view path) const {
        return foundAmong(0, size(), path, [this](std::size_t k) { return (*this)[k]; }).has_value();
    }

private:
    struct Place {
        std::uint32_t block;
        std::uint32_t begin;
    };

    std::string_view at(Place place) const {
        const char* const length = blocks_[place.block].data() + place.begin;
        return {length + lengthBytes, archive::numberAt<std::uint32_t>(length)};
    }

    static constexpr std::size_t blockBytes = std::size_t{1} << 20;  // a text that grew would be there twice
    static constexpr std::size_t lengthBytes = sizeof(std::uint32_t);

    std::deque<std::string> blocks_;  ///< of each name its length in four bytes, then the name
    std::deque<Place> names_;
};

}  // namespace likeness
