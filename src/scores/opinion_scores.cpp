#include "scores/opinion_scores.hpp"

#include "files/refusal.hpp"
#include "files/trimmed_text.hpp"
#include "scores/score_table.hpp"

#include <map>

namespace likeness {

const char* nameOf(ScoreDirection direction) {
    return direction == ScoreDirection::higherBetter ? "higher-better" : "lower-better";
}

OpinionScores readScores(const std::string& path, const ScoreColumns& columns, ScoreDirection direction) {
    const ScoreTable table = readScoreTable(path);
    OpinionScores scores;
    scores.source = path;
    scores.direction = direction;
    const auto wanted = [&](const char* option, const std::string& name) {
        return name.empty() ? std::optional<std::size_t>() : table.column(option, name);
    };
    const std::optional<std::size_t> id =
        columns.id.empty() && !table.find("id") ? std::nullopt : wanted("--id", columns.id.empty() ? "id" : columns.id);
    const std::size_t score = table.column("--score", columns.score);
    const auto deviation = wanted("--deviation", columns.deviation);
    const auto content = wanted("--group", columns.content);
    const auto type = wanted("--type", columns.type);
    scores.scoreColumn = table.header[score];
    scores.deviationColumn = deviation ? table.header[*deviation] : "";
    scores.contentColumn = content ? table.header[*content] : "";
    scores.typeColumn = type ? table.header[*type] : "";
    scores.inOrder = !id;
    std::map<std::string, std::uint64_t> lines;
    for (const ScoreTable::Row& row : table.rows) {
        OpinionScore opinion;
        if (id) {
            opinion.id = row.fields[*id];
            if (opinion.id.empty()) {
                table.refuse(row.line, "the id is empty");
            }
            const auto [before, isNew] = lines.emplace(opinion.id, row.line);
            if (!isNew) {
                table.refuse(row.line, "the id '" + opinion.id + "' is that of line " + std::to_string(before->second));
            }
        }
        if (trimmed(row.fields[score]).empty()) {
            if (!id) {
                table.refuse(row.line, "the score is empty");
            }
            ++scores.without;
            continue;
        }
        opinion.score = table.number(row, score);
        if (deviation) {
            opinion.deviation = table.number(row, *deviation);
            if (opinion.deviation < 0) {
                table.refuse(row.line, "the deviation '" + row.fields[*deviation] + "' is below 0");
            }
        }
        opinion.content = content ? row.fields[*content] : "";
        if (content && trimmed(opinion.content).empty()) {
            table.refuse(row.line, "the group is empty; without --group each row is one of its own");
        }
        opinion.type = type ? row.fields[*type] : "";
        scores.scores.push_back(std::move(opinion));
    }
    if (scores.scores.empty()) {
        throw Refusal("'" + path + "' has no scores");
    }
    return scores;
}

}  // namespace likeness
