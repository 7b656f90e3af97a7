#include "scores/score_join.hpp"

#include <likeness/comparison/per_correlate.hpp>
#include "batch/parameters.hpp"
#include "batch/result_store.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/trimmed_text.hpp"
#include "scores/score_table.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <limits>
#include <map>
#include <optional>
#include <unordered_map>

namespace likeness {
namespace {

constexpr double notRecorded = std::numeric_limits<double>::quiet_NaN();

constexpr const char* distanceEndings[] = {"_wasserstein", "_kolmogorov_smirnov", "_jensen_shannon_bits"};
constexpr const char* uniformNames[] = {"uniform_lightness", "uniform_colorfulness", "uniform_hue", "uniform_total"};

/// Names of what results may hold besides the five.
std::vector<std::string> furtherNames() {
    std::vector<std::string> names{hueColumn};
    for (const CorrelateName& correlate : correlateNames) {
        for (const char* const ending : distanceEndings) {
            names.push_back(std::string(correlate.name) + ending);
        }
    }
    names.insert(names.end(), std::begin(uniformNames), std::end(uniformNames));
    return names;
}

std::optional<std::size_t> correlateNumber(const std::string& name) {
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        if (name == correlateNames[k].name) {
            return k;
        }
    }
    return std::nullopt;
}

const CarriedValue* carriedIn(const ResultRecord& record, const std::string& column) {
    for (const CarriedValue& value : record.carried) {
        if (value.column == column && value.kind != CarriedValue::Kind::absent) {
            return &value;
        }
    }
    return nullptr;
}

double featureOf(const ResultRecord& record, const std::string& name) {
    if (const auto number = correlateNumber(name)) {
        return static_cast<double>(record.outcome.coefficients[*number]);
    }
    if (name == hueColumn && record.outcome.hue) {
        return static_cast<double>(*record.outcome.hue);
    }
    const CarriedValue* const value = carriedIn(record, name);
    const std::optional<double> number = value == nullptr ? std::nullopt : numberIn(value->text);
    return number.value_or(notRecorded);
}

std::string textOf(const ResultRecord& record, const std::string& column, bool& has) {
    if (column.empty()) {
        return "";
    }
    const CarriedValue* const value = carriedIn(record, column);
    has = has || value != nullptr;
    return value == nullptr ? "" : value->text;
}

/// Five lines a run, a coefficient each.
void readReport(const std::string& path, RecordedPairs& pairs) {
    std::ifstream in(path);
    if (!in) {
        throw Refusal("cannot read '" + path + "': " + std::strerror(errno));
    }
    pairs.hasIds = false;
    // The report is that of the default model; which version wrote it, it does not say.
    pairs.parameters = parameterFingerprint();
    std::vector<double> values;
    std::uint64_t line = 0;
    std::uint64_t run = 0;
    bool failed = false;
    for (std::string text; std::getline(in, text);) {
        ++line;
        if (trimmed(text).empty()) {
            continue;
        }
        const std::optional<double> value = numberIn(text);
        const std::string word = trimmed(text);
        if (!value && word != "nan" && word != "-nan") {
            throw Refusal(fmt::format("'{}', line {}: '{}' is not a coefficient", path, line, word));
        }
        // A sum of float roots may come out a few last places above 1.
        constexpr double greatest = 1 + 1e-4;
        if (value && !(*value >= 0 && *value <= greatest)) {
            throw Refusal(fmt::format("'{}', line {}: {} is no coefficient, which is from 0 to 1", path, line, word));
        }
        failed = failed || !value;
        values.push_back(value.value_or(notRecorded));
        if (values.size() == correlateNames.size()) {
            ++run;
            if (failed) {
                ++pairs.failed;
            } else {
                RecordedPair pair;
                pair.id = std::to_string(run);
                for (const std::string& name : pairs.features) {
                    const auto number = correlateNumber(name);
                    if (!number) {
                        throw Refusal("--features: '" + path + "' has the five coefficients alone, and no '" + name +
                                      "'");
                    }
                    pair.features.push_back(values[*number]);
                }
                pairs.pairs.push_back(std::move(pair));
            }
            values.clear();
            failed = false;
        }
    }
    if (!values.empty()) {
        throw Refusal(fmt::format("'{}' has {} lines, which are not five a run", path, line));
    }
}

/// Takes features that not all pairs have out of those that nobody asked for.
void dropUnrecorded(RecordedPairs& pairs, std::size_t asked) {
    for (std::size_t k = pairs.features.size(); k-- > asked;) {
        const bool everywhere = std::none_of(pairs.pairs.begin(), pairs.pairs.end(),
                                             [k](const RecordedPair& pair) { return std::isnan(pair.features[k]); });
        if (!everywhere) {
            const auto place = static_cast<std::ptrdiff_t>(k);
            pairs.features.erase(pairs.features.begin() + place);
            for (RecordedPair& pair : pairs.pairs) {
                pair.features.erase(pair.features.begin() + place);
            }
        }
    }
}

/// The last `count` parts of a path, in lower case.
std::string endOf(const std::string& path, std::size_t count) {
    std::size_t begin = path.size();
    while (begin > 0) {
        if (path[begin - 1] == '/' || path[begin - 1] == '\\') {
            if (--count == 0) {
                break;
            }
        }
        --begin;
    }
    std::string end = lowerCase(path.substr(begin));
    std::replace(end.begin(), end.end(), '\\', '/');
    return end;
}

std::size_t partsIn(const std::string& path) {
    return 1 + static_cast<std::size_t>(std::count(path.begin(), path.end(), '/'));
}

std::string withoutExtension(const std::string& name) {
    const auto dot = name.rfind('.');
    const auto slash = name.rfind('/');
    return dot == std::string::npos || (slash != std::string::npos && dot < slash) ? name : name.substr(0, dot);
}

/// Finds the score of a pair.
class ScoreIndex {
public:
    explicit ScoreIndex(const OpinionScores& scores) : scores_(scores) {
        for (std::size_t k = 0; k < scores.scores.size(); ++k) {
            const OpinionScore& score = scores.scores[k];
            byId_.emplace(score.id, k);
            if (scores.isDataSet) {
                // The id of a distorted photograph is the end of its path; that of SPCD is both names.
                ofPairs_ = score.id.find('|') != std::string::npos;
                parts_ = ofPairs_ ? 1 : partsIn(score.id);
                byFile_.emplace(ofPairs_ ? bothOf(score.first, score.second) : endOf(score.id, parts_), k);
                if (!ofPairs_) {
                    byStem_.emplace(withoutExtension(endOf(score.id, parts_)), k);
                }
            }
        }
    }

    std::optional<std::size_t> find(const RecordedPair& pair) const {
        if (const auto found = lookUp(byId_, pair.id)) {
            return found;
        }
        if (!scores_.isDataSet) {
            return std::nullopt;
        }
        if (ofPairs_) {
            const auto found = lookUp(byFile_, bothOf(pair.first, pair.second));
            return found ? found : lookUp(byFile_, bothOf(pair.second, pair.first));
        }
        for (const std::string* const name : {&pair.second, &pair.first, &pair.id}) {
            if (const auto found = lookUp(byFile_, endOf(*name, parts_))) {
                return found;
            }
        }
        for (const std::string* const name : {&pair.id, &pair.second, &pair.first}) {
            if (const auto found = lookUp(byStem_, withoutExtension(endOf(*name, parts_)))) {
                return found;
            }
            if (const auto found = lookUp(byStem_, endOf(*name, parts_))) {
                return found;
            }
        }
        return std::nullopt;
    }

private:
    using Index = std::unordered_map<std::string, std::size_t>;

    static std::optional<std::size_t> lookUp(const Index& index, const std::string& name) {
        const auto found = index.find(name);
        return found == index.end() ? std::nullopt : std::optional<std::size_t>(found->second);
    }
    static std::string bothOf(const std::string& first, const std::string& second) {
        return endOf(first, 1) + '|' + endOf(second, 1);
    }

    const OpinionScores& scores_;
    Index byId_;
    Index byFile_;
    Index byStem_;
    bool ofPairs_ = false;
    std::size_t parts_ = 1;
};

}  // namespace

bool isDistanceName(const std::string& name) {
    for (const char* const ending : distanceEndings) {
        const std::string_view end(ending);
        if (name.size() > end.size() && std::string_view(name).substr(name.size() - end.size()) == end) {
            return true;
        }
    }
    return std::find(std::begin(uniformNames), std::end(uniformNames), name) != std::end(uniformNames);
}

RecordedPairs readRecordedPairs(const std::string& path, const std::vector<std::string>& features, bool alsoRecorded,
                                const std::string& content, const std::string& type) {
    RecordedPairs pairs;
    pairs.source = path;
    pairs.contentColumn = content;
    pairs.features = features;
    if (features.empty()) {
        for (const CorrelateName& correlate : correlateNames) {
            pairs.features.emplace_back(correlate.name);
        }
    }
    if (path.size() > 4 && lowerCase(path.substr(path.size() - 4)) == ".txt") {
        readReport(path, pairs);
    } else {
        const std::size_t asked = pairs.features.size();
        if (features.empty() && alsoRecorded) {
            for (const std::string& name : furtherNames()) {
                pairs.features.push_back(name);
            }
        }
        const auto reader = openResults(path, resultFormatOf("RESULTS", path));
        std::vector<bool> met(pairs.features.size());
        std::unordered_map<std::string, std::uint64_t> positions;
        ResultRecord record;
        while (reader->next(record)) {
            if (comparesHue(record)) {
                takeHue(record);
            }
            if (!pairs.version.empty() && (record.version != pairs.version || record.parameters != pairs.parameters)) {
                throw Refusal("'" + path + "' holds results of likeness " + pairs.version + ", " + pairs.parameters +
                              ", and of likeness " + record.version + ", " + record.parameters +
                              ": a fit is to one model and one version");
            }
            pairs.version = record.version;
            pairs.parameters = record.parameters;
            if (const auto [before, isNew] = positions.emplace(record.id, record.position); !isNew) {
                throw Refusal("'" + path + "' holds the id '" + record.id + "' twice");
            }
            if (!record.outcome.compared()) {
                ++pairs.failed;
                continue;
            }
            RecordedPair pair;
            for (std::size_t k = 0; k < pairs.features.size(); ++k) {
                pair.features.push_back(featureOf(record, pairs.features[k]));
                met[k] = met[k] || !std::isnan(pair.features[k]);
            }
            pair.content = textOf(record, content, pairs.hasContent);
            pair.type = textOf(record, type, pairs.hasType);
            pair.id = std::move(record.id);
            pair.first = std::move(record.first);
            pair.second = std::move(record.second);
            pairs.pairs.push_back(std::move(pair));
        }
        for (std::size_t k = 0; k < asked && !pairs.pairs.empty(); ++k) {
            if (!met[k] && !correlateNumber(pairs.features[k])) {
                throw Refusal("--features: '" + path + "' records no number '" + pairs.features[k] + "'");
            }
        }
        dropUnrecorded(pairs, asked);
    }
    const auto lacks = [](const RecordedPair& pair) {
        return std::any_of(pair.features.begin(), pair.features.end(),
                           [](double value) { return !std::isfinite(value); });
    };
    const auto end = std::remove_if(pairs.pairs.begin(), pairs.pairs.end(), lacks);
    pairs.blank = static_cast<std::uint64_t>(pairs.pairs.end() - end);
    pairs.pairs.erase(end, pairs.pairs.end());
    if (pairs.pairs.empty()) {
        throw Refusal("'" + path + "' holds no pairs that could be compared");
    }
    return pairs;
}

JoinedScores joinScores(const RecordedPairs& pairs, const OpinionScores& scores) {
    JoinedScores joined;
    if (scores.inOrder) {
        if (pairs.failed + pairs.blank > 0 || pairs.pairs.size() != scores.scores.size()) {
            throw Refusal(
                fmt::format("'{}' has no column 'id' and {}, and '{}' has {}: without ids they must be as many; "
                            "--id names the column of the ids",
                            scores.source, numberOf(scores.scores.size(), "score"), pairs.source,
                            numberOf(pairs.pairs.size() + pairs.failed + pairs.blank, "pair")));
        }
        for (std::size_t k = 0; k < pairs.pairs.size(); ++k) {
            joined.rows.push_back({k, k});
        }
        return joined;
    }
    const ScoreIndex index(scores);
    std::vector<std::size_t> pairOf(scores.scores.size(), pairs.pairs.size());
    for (std::size_t k = 0; k < pairs.pairs.size(); ++k) {
        const std::optional<std::size_t> score = index.find(pairs.pairs[k]);
        if (!score) {
            joined.pairWithoutScore = joined.pairsWithoutScore == 0 ? pairs.pairs[k].id : joined.pairWithoutScore;
            ++joined.pairsWithoutScore;
            continue;
        }
        if (pairOf[*score] != pairs.pairs.size()) {
            throw Refusal("the pairs '" + pairs.pairs[pairOf[*score]].id + "' and '" + pairs.pairs[k].id + "' of '" +
                          pairs.source + "' have the same score, that of '" + scores.scores[*score].id + "'");
        }
        pairOf[*score] = k;
        joined.rows.push_back({k, *score});
    }
    for (std::size_t k = 0; k < scores.scores.size(); ++k) {
        if (pairOf[k] == pairs.pairs.size()) {
            joined.scoreWithoutPair = joined.scoresWithoutPair == 0 ? scores.scores[k].id : joined.scoreWithoutPair;
            ++joined.scoresWithoutPair;
        }
    }
    if (joined.rows.empty()) {
        throw Refusal("'" + pairs.source + "' and " + scores.source + " have no id in common: the one has '" +
                      pairs.pairs.front().id + "', the other '" + scores.scores.front().id + "'");
    }
    return joined;
}

}  // namespace likeness
