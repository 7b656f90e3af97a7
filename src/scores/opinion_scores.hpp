// Opinion scores: what people said of pairs of photographs, from tables and from data sets as they are published.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace likeness {

/// Which scores mean that the photographs look more alike, or that the second looks better.
enum class ScoreDirection { higherBetter, lowerBetter };

/// "higher-better", "lower-better".
const char* nameOf(ScoreDirection direction);

struct OpinionScore {
    std::string id;  ///< of the pair
    double score = 0;
    double deviation = std::numeric_limits<double>::quiet_NaN();  ///< standard deviation of the opinions
    std::string content{};                                        ///< what the pair shows
    std::string type{};                                           ///< of the distortion
    std::string first{};                                          ///< files of the photographs, in a data set
    std::string second{};
};

struct OpinionScores {
    std::string source;  ///< for messages and records
    ScoreDirection direction = ScoreDirection::higherBetter;
    std::string scoreColumn;
    std::string deviationColumn{};  ///< empty: there are no deviations
    std::string contentColumn{};    ///< empty: the contents are not known
    std::string typeColumn{};
    bool isDataSet = false;              ///< pairs may be found by their files too
    bool inOrder = false;                ///< the table has no ids: its rows are the results' rows
    std::uint64_t without = 0;           ///< rows that have no score, which are left out
    std::vector<std::string> remarks{};  ///< what had to be assumed
    std::vector<OpinionScore> scores;
};

/// Which columns of a table are taken; the names of the table's header in any case of letters.
struct ScoreColumns {
    std::string id;  ///< empty: `id`, and where there is none the rows are in the order of the results
    std::string score = "score";
    std::string deviation{};  ///< empty: none
    std::string content{};
    std::string type{};
};

/// Reads a table: CSV with a header, tabs between the fields where the name ends in .tsv. Empty scores are counted and
/// left out.
/// @throws Refusal  a column that is missing, a score that is no number, an id that is there twice
OpinionScores readScores(const std::string& path, const ScoreColumns& columns, ScoreDirection direction);

/// tid2013, kadid10k, csiq, live, spcd.
const std::vector<std::string>& scoreSetNames();

/// Reads the scores of a data set from its folder, as the set is laid out (docs/fit.md). `first` and `second` are the
/// files of the photographs, relative to the folder.
/// @throws Refusal
OpinionScores readScoreSet(const std::string& name, const std::string& folder);

}  // namespace likeness
