// Fitted models in files (JSON). docs/fit.md describes them.
#pragma once

#include "scores/score_fit.hpp"

#include <string>

namespace likeness {

/// Where the rows of a fit came from, for its file.
struct FitSources {
    std::string results;
    std::string scores;
    std::uint64_t failed = 0;
    std::uint64_t blank = 0;
    std::uint64_t pairsWithoutScore = 0;
    std::uint64_t scoresWithoutPair = 0;
    std::uint64_t emptyScores = 0;
    std::string deviationColumn{};
    std::string typeColumn{};
};

/// The file's text. Numbers read back to the bit.
std::string scoreModelJson(const ScoreFit& fit, const FitSources& sources);

/// @param option  that names the file, for refusals
/// @throws Refusal  what is no such file, or of a later schema
StoredScoreModel readScoreModel(const std::string& option, const std::string& path);

/// The same of a text.
/// @param name  of it, for refusals
StoredScoreModel scoreModelIn(const std::string& option, const std::string& name, const std::string& text);

/// The names, in the order in which they stand in files.
struct AgreementFigure {
    const char* name;
    Estimate AgreementEstimate::*figure;
};
inline constexpr AgreementFigure agreementFigures[] = {{"pearson", &AgreementEstimate::pearson},
                                                       {"spearman", &AgreementEstimate::spearman},
                                                       {"kendall", &AgreementEstimate::kendall},
                                                       {"rmse", &AgreementEstimate::rmse},
                                                       {"outlier_ratio", &AgreementEstimate::outlierRatio}};

}  // namespace likeness
