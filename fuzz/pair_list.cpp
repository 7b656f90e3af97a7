// Lists of pairs. The first byte chooses format and shards.
#include "batch/pair_list.hpp"
#include "files/refusal.hpp"
#include "harness.hpp"

#include <sstream>

using namespace likeness;
using namespace likeness::fuzz;

namespace {

PairList listIn(const std::string& text, std::optional<ListFormat> format, Shard shard = {}) {
    std::istringstream in(text);
    return readPairs(in, "the list", format, shard);
}

void requireSame(const Pair& a, const Pair& b, std::string_view promise) {
    require(a.position == b.position && a.id == b.id && a.first == b.first && a.second == b.second, promise);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const std::uint8_t choice = choices.byte();
    static constexpr std::optional<ListFormat> formats[] = {std::nullopt, ListFormat::csv, ListFormat::tsv,
                                                            ListFormat::jsonLines};
    const auto format = formats[choice % 4];
    const std::string text = choices.rest();
    PairList pairs;
    try {
        pairs = listIn(text, format);
    } catch (const Refusal& refusal) {
        require(*refusal.what() != '\0', "a refusal says why");
        return 0;
    }
    require(pairs.size() > 0 && pairs.size() == pairs.total(), "a list that is read has pairs");

    const PairList again = listIn(csvList(pairs), ListFormat::csv);
    require(again.size() == pairs.size(), "a list that is written has all pairs");
    require(again.columns() == pairs.columns(), "a list that is written has all columns");
    for (std::size_t k = 0; k < pairs.size(); ++k) {
        const Pair a = pairs.at(k);
        const Pair b = again.at(k);
        requireSame(a, b, "a list that is written is read equal");
        require(a.carried.size() == b.carried.size(), "a pair has a value for each column");
        for (std::size_t c = 0; c < a.carried.size(); ++c) {
            require(a.carried[c].column == b.carried[c].column && a.carried[c].text == b.carried[c].text,
                    "a carried value is read equal");
        }
    }

    const std::uint32_t shards = 1U + choice / 4U % 4U;
    std::vector<std::size_t> met(pairs.size());
    for (std::uint32_t index = 1; index <= shards; ++index) {
        const PairList part = listIn(text, format, {index, shards});
        require(part.total() == pairs.total(), "a shard knows how long the list is");
        for (std::size_t k = 0; k < part.size(); ++k) {
            const Pair pair = part.at(k);
            requireSame(pair, pairs.at(pair.position - 1), "a shard has the list's pairs");
            ++met[pair.position - 1];
        }
    }
    for (const std::size_t times : met) {
        require(times == 1, "each pair is in one shard");
    }
    return 0;
}
