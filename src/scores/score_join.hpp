// Results and the scores of the same pairs, brought together.
#pragma once

#include "scores/opinion_scores.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace likeness {

/// A pair of results that a fit can use.
struct RecordedPair {
    std::string id;
    std::string first;
    std::string second;
    std::string content;           ///< of the column that was asked for
    std::string type;              ///< likewise
    std::vector<double> features;  ///< NaN where one is not recorded
};

struct RecordedPairs {
    std::string source;
    std::string version;     ///< of the program that compared; empty where that is not recorded
    std::string parameters;  ///< fingerprint of model and conditions; empty likewise
    std::vector<std::string> features;
    std::vector<RecordedPair> pairs;
    std::uint64_t failed = 0;     ///< pairs that could not be compared, which are left out
    std::uint64_t blank = 0;      ///< pairs that lack a feature, which are left out
    bool hasIds = true;           ///< For_fit.txt has none: the ids are the numbers of its runs, from 1
    std::string contentColumn{};  ///< that the contents are from; empty: none was asked for
    bool hasContent = false;      ///< whether the results have it
    bool hasType = false;
};

/// Reads results of batch, merge or pairs, or a report of five lines a run (For_fit.txt), whose name ends in .txt.
/// @param features  names: coefficients, the hue, columns of numbers; empty: the five coefficients
/// @param alsoRecorded  with no `features`: the hue's coefficient and distances too, where all records have them
/// @param content, type  columns of the results that may have these; empty for none
/// @throws Refusal  results of several versions or parameters, doubled ids, a feature that no record has
RecordedPairs readRecordedPairs(const std::string& path, const std::vector<std::string>& features, bool alsoRecorded,
                                const std::string& content, const std::string& type);

/// Whether a name is that of a number that says how far photographs are apart: it is greater where they are less alike.
bool isDistanceName(const std::string& name);

struct JoinedScores {
    struct Row {
        std::size_t pair;
        std::size_t score;
    };

    std::vector<Row> rows;  ///< in the order of the results
    std::uint64_t pairsWithoutScore = 0;
    std::uint64_t scoresWithoutPair = 0;
    std::string pairWithoutScore;  ///< the first of each
    std::string scoreWithoutPair;
};

/// By the id. Pairs of a data set are found by their files too, whatever the case of letters and the folder.
/// @throws Refusal  nothing in common, two pairs of one score
JoinedScores joinScores(const RecordedPairs& pairs, const OpinionScores& scores);

}  // namespace likeness
