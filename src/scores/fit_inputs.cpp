#include "scores/fit_inputs.hpp"

#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "scores/score_table.hpp"

#include <fmt/format.h>

namespace likeness {
namespace {

/// Lets the results have a column that the scores lack.
/// @return  its name; empty where the scores have it
std::string leftToResults(const FitRequest& request, std::string& column) {
    std::string left;
    if (!column.empty() && !readScoreTable(request.scores).find(column)) {
        std::swap(left, column);
    }
    return left;
}

void tellWhatIsLeftOut(FitInputs& inputs) {
    const JoinedScores& joined = inputs.joined;
    if (joined.pairsWithoutScore > 0) {
        inputs.remarks.push_back(numberOf(joined.pairsWithoutScore, "pair") +
                                 " of the results without a score, the first '" + joined.pairWithoutScore +
                                 "'; left out");
    }
    if (joined.scoresWithoutPair > 0) {
        inputs.remarks.push_back(numberOf(joined.scoresWithoutPair, "score") +
                                 " without a pair in the results, the first '" + joined.scoreWithoutPair +
                                 "'; left out");
    }
    for (const auto& [count, what] :
         {std::pair(inputs.pairs.failed, "could not be compared"), std::pair(inputs.pairs.blank, "lack a feature"),
          std::pair(inputs.scores.without, "have no score")}) {
        if (count > 0) {
            inputs.remarks.push_back(numberOf(count, "row") + " left out: they " + what);
        }
    }
}

}  // namespace

FitInputs readFitInputs(const FitRequest& request) {
    if (!request.dataSet && !request.direction) {
        throw Refusal(
            "--direction is required: higher-better where higher scores mean more alike, lower-better where they mean "
            "less; a table of scores does not tell");
    }
    FitInputs inputs;
    ScoreColumns columns = request.columns;
    std::string content;
    std::string type;
    if (!request.dataSet) {
        content = leftToResults(request, columns.content);
        type = leftToResults(request, columns.type);
        inputs.scores = readScores(request.scores, columns, *request.direction);
    } else {
        inputs.scores = readScoreSet(request.dataSet->first, request.dataSet->second);
        if (!columns.content.empty() && columns.content != inputs.scores.contentColumn) {
            content = columns.content;
            inputs.scores.contentColumn.clear();
        }
        if (!columns.type.empty() && columns.type != inputs.scores.typeColumn) {
            type = columns.type;
            inputs.scores.typeColumn.clear();
        }
    }
    inputs.remarks = inputs.scores.remarks;
    inputs.pairs = readRecordedPairs(request.results, request.features, !takesMean(request.form), content, type);
    if (!content.empty() && !inputs.pairs.hasContent) {
        throw Refusal("--group: neither the scores nor '" + request.results + "' have a column '" + content + "'");
    }
    if (!type.empty() && !inputs.pairs.hasType) {
        throw Refusal("--type: neither the scores nor '" + request.results + "' have a column '" + type + "'");
    }
    inputs.joined = joinScores(inputs.pairs, inputs.scores);
    if (inputs.scores.inOrder) {
        inputs.remarks.push_back("'" + request.scores +
                                 "' has no column 'id': its rows are taken in the order of the results");
    }
    tellWhatIsLeftOut(inputs);
    FitSources& sources = inputs.sources;
    sources.results = request.results;
    sources.scores = inputs.scores.source;
    sources.failed = inputs.pairs.failed;
    sources.blank = inputs.pairs.blank;
    sources.pairsWithoutScore = inputs.joined.pairsWithoutScore;
    sources.scoresWithoutPair = inputs.joined.scoresWithoutPair;
    sources.emptyScores = inputs.scores.without;
    sources.deviationColumn = inputs.scores.deviationColumn;
    sources.typeColumn = type.empty() ? inputs.scores.typeColumn : type;
    return inputs;
}

}  // namespace likeness
