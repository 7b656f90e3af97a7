#include "batch/shard.hpp"

#include "batch/stable_hash.hpp"
#include "files/refusal.hpp"

#include <charconv>

namespace likeness {

bool Shard::holds(std::string_view id) const noexcept {
    return mixed(fnv1a(id)) % count == index - 1;
}

Shard parseShard(const std::string& text) {
    constexpr std::uint32_t most = 1000000;
    Shard shard;
    const char* const end = text.data() + text.size();
    const auto [slash, indexProblem] = std::from_chars(text.data(), end, shard.index);
    if (indexProblem == std::errc() && slash != end && *slash == '/') {
        const auto [rest, countProblem] = std::from_chars(slash + 1, end, shard.count);
        if (countProblem == std::errc() && rest == end && shard.index >= 1 && shard.index <= shard.count &&
            shard.count <= most) {
            return shard;
        }
    }
    throw Refusal("--shard: '" + text + "' is not I/N with whole numbers, I from 1 to N, N up to 1000000");
}

}  // namespace likeness
