// Tables of opinion scores: the first byte chooses between commas and tabs.
#include "scores/score_table.hpp"
#include "files/refusal.hpp"
#include "harness.hpp"
#include "scores/opinion_scores.hpp"

#include <cmath>

using namespace likeness;
using namespace likeness::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const std::string path = scratchPath(choices.byte() % 2 == 0 ? "scores.csv" : "scores.tsv");
    writeFile(path, choices.rest());
    try {
        for (const ScoreTable::Row& row : readScoreTable(path).rows) {
            require(row.line >= 1, "a row has a line");
        }
    } catch (const Refusal&) {
    }
    try {
        const OpinionScores scores = readScores(path, {}, ScoreDirection::higherBetter);
        for (const OpinionScore& score : scores.scores) {
            require(std::isfinite(score.score), "a score is a finite number");
        }
    } catch (const Refusal&) {
    }
    return 0;
}
