// Names of many photographs in little memory: their bytes one behind the other, and 8 more for each.
#pragma once

#include "archive/archive_bytes.hpp"
#include "archive/path_search.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace likeness {

class PathNames {
public:
    void add(std::string_view path) {
        begins_.push_back(bytes_.size());
        archive::put(bytes_, static_cast<std::uint32_t>(path.size()));
        bytes_ += path;
    }

    std::size_t size() const noexcept { return begins_.size(); }
    bool empty() const noexcept { return begins_.empty(); }

    /// Valid until another is added.
    std::string_view operator[](std::size_t k) const { return at(begins_[k]); }

    /// Puts them in the order of their bytes, and drops what is there twice.
    void sortUnique() {
        std::sort(begins_.begin(), begins_.end(), [this](auto a, auto b) { return at(a) < at(b); });
        const auto end = std::unique(begins_.begin(), begins_.end(), [this](auto a, auto b) { return at(a) == at(b); });
        begins_.erase(end, begins_.end());
    }

    /// Leaves out those for which `keep` is false.
    template <typename Keep>
    void select(const Keep& keep) {
        const auto end = std::remove_if(begins_.begin(), begins_.end(), [&](auto begin) { return !keep(at(begin)); });
        begins_.erase(end, begins_.end());
    }

    /// Of names in order.
    bool contains(std::string_view path) const {
        return foundAmong(0, size(), path, [this](std::size_t k) { return (*this)[k]; }).has_value();
    }

private:
    std::string_view at(std::uint64_t begin) const {
        const char* const length = bytes_.data() + begin;
        return {length + sizeof(std::uint32_t), archive::numberAt<std::uint32_t>(length)};
    }

    std::string bytes_;  ///< of each its length in four, then its name
    std::vector<std::uint64_t> begins_;
};

}  // namespace likeness
