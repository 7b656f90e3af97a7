// darkroom verify: how the results of a batch stand to its list, and whether an archive is whole.
#include "archive/archive_file.hpp"
#include "batch/result_store.hpp"
#include "batch/result_text.hpp"
#include "batch/stable_hash.hpp"
#include "commands/subcommands.hpp"
#include "console/list_options.hpp"
#include "diagnostics/shown_text.hpp"
#include "files/refusal.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace likeness::darkroom {
namespace {

struct VerifyArguments {
    ListOptions list;
    std::string results;
};

/// What was found of records, and how it is printed.
struct Findings {
    std::uint64_t compared = 0;
    std::uint64_t failed = 0;
    std::uint64_t missing = 0;
    std::uint64_t doubled = 0;
    std::optional<std::uint64_t> foreign;  ///< without a list there are none
    std::uint64_t altered = 0;
    std::string remarks;

    /// One line, whatever an id holds: none passes for a line of the counts.
    void remark(const char* what, const std::string& text) {
        remarks += std::string(what) + ": " + shownText(text) + '\n';
    }

    void addOutcome(const ResultRecord& record) {
        if (record.outcome.compared()) {
            ++compared;
        } else {
            ++failed;
            remark("failed", record.id + ": " + record.outcome.error);
        }
    }

    /// @return  whether every pair is recorded once, as it should be, and compared
    bool report(std::ostream& out, std::uint64_t pairs) const {
        out << "pairs: " << pairs << "\ncompared: " << compared << "\nfailed: " << failed << "\nmissing: " << missing
            << "\ndoubled: " << doubled;
        if (foreign) {
            out << "\nforeign: " << *foreign;
        }
        out << "\naltered: " << altered << '\n' << remarks;
        return compared == pairs && missing + doubled + foreign.value_or(0) + altered == 0;
    }
};

/// Compares records with the pairs of a list, in any order.
class Verification {
public:
    explicit Verification(const PairList& pairs) : pairs_(pairs), met_(pairs.size()) {
        findings_.foreign = 0;
        index_.reserve(pairs.size());
        for (std::size_t k = 0; k < pairs.size(); ++k) {
            index_.emplace(wideHash(pairs.at(k).id).low, k);
        }
    }

    void add(const ResultRecord& record) {
        const std::size_t number = find(record.id);
        if (number == pairs_.size()) {
            ++*findings_.foreign;
            findings_.remark("foreign", record.id);
            return;
        }
        if (met_[number]) {
            ++findings_.doubled;
            findings_.remark("doubled", record.id);
            return;
        }
        met_[number] = true;
        findings_.addOutcome(record);
        checkUnaltered(pairs_.at(number), record);
    }

    /// @return  whether every pair is recorded once, as it is in the list, and compared
    bool report(std::ostream& out) {
        for (std::size_t k = 0; k < pairs_.size(); ++k) {
            if (!met_[k]) {
                ++findings_.missing;
                findings_.remark("missing", pairs_.at(k).id);
            }
        }
        return findings_.report(out, pairs_.size());
    }

private:
    std::size_t find(const std::string& id) const {
        const auto [begin, end] = index_.equal_range(wideHash(id).low);
        for (auto candidate = begin; candidate != end; ++candidate) {
            if (pairs_.at(candidate->second).id == id) {
                return candidate->second;
            }
        }
        return pairs_.size();
    }

    void checkUnaltered(const Pair& pair, const ResultRecord& record) {
        if (version_.empty()) {
            version_ = record.version;
            parameters_ = record.parameters;
        }
        std::string what;
        const auto compare = [&what](const std::string& name, const std::string& recorded,
                                     const std::string& expected) {
            if (what.empty() && recorded != expected) {
                what = fmt::format("{} is '{}', expected '{}'", name, recorded, expected);
            }
        };
        compare("first", record.first, pair.first);
        compare("second", record.second, pair.second);
        compare("position", std::to_string(record.position), std::to_string(pair.position));
        compare("pairs", std::to_string(record.pairs), std::to_string(pairs_.total()));
        compare("version", record.version, version_);
        compare("parameters", record.parameters, parameters_);
        for (const CarriedValue& value : pair.carried) {
            const CarriedValue* const recorded = carriedValue(record, value.column);
            compare(value.column, recorded == nullptr ? "" : recorded->text, value.text);
        }
        if (!what.empty()) {
            ++findings_.altered;
            findings_.remark("altered", record.id + ": " + what);
        }
    }

    const PairList& pairs_;
    std::vector<bool> met_;
    std::unordered_multimap<std::uint64_t, std::size_t> index_;
    Findings findings_;
    std::string version_;
    std::string parameters_;
};

ExitStatus verifyArchive(const VerifyArguments& options) {
    if (!options.list.format.empty() || !options.list.shard.empty()) {
        throw Refusal("--list-format, --shard: an archive has no list");
    }
    const ArchiveFile archive(options.list.path);
    std::vector<std::string> found = archive.check();
    if (!archive.finished() && !archive.head().edges) {
        found.insert(found.begin(), "it is unfinished; darkroom index --resume goes on");
    }
    std::size_t failed = 0;
    std::size_t unreadable = 0;
    for (std::size_t entry = 0; entry < archive.size(); ++entry) {
        try {
            archive.storedEntry(entry);
            archive.distributions(entry);
            failed += archive.analysed(entry) ? 0 : 1;
        } catch (const ArchiveDamage&) {
            ++unreadable;
        }
        constexpr std::size_t aWhile = 4096;
        if (entry % aWhile == aWhile - 1) {
            archive.forgetIfLarge();
        }
    }
    std::cout << "photographs: " << archive.size() << "\nfailed: " << failed << "\nunreadable: " << unreadable
              << "\nbytes: " << archive.bytes() << "\nlikeness: " << shownText(archive.origin().version)
              << "\nparameters: " << shownText(archive.origin().fingerprint) << '\n';
    for (const std::string& damage : found) {
        std::cout << "damaged: " << shownText(damage) << '\n';
    }
    return found.empty() && failed == 0 ? ExitStatus::done : ExitStatus::outsideLimits;
}

/// Warns of an end that is cut off, or of damage that the records do not show.
/// @return  whether there is neither
bool isWhole(const Console& console, const std::string& path, ResultFormat format, const ResultReader& reader) {
    const bool cutOff = reader.tail().cutOff;
    const std::string damage = cutOff ? std::string() : damageOfResults(path, format);
    if (cutOff || !damage.empty()) {
        console.warn("'" + path + "': " + (cutOff ? "the last record is cut off" : "it is damaged: " + damage) +
                     "; darkroom batch --resume repairs it");
    }
    return !cutOff && damage.empty();
}

/// Results without a list, such as those of darkroom pairs: each record proves itself and says of how many it is one.
ExitStatus verifyAlone(const Console& console, const std::string& path, ResultFormat format) {
    const auto reader = openResults(path, format);
    Findings findings;
    std::uint64_t total = 0;
    std::unordered_set<std::string> ids;
    std::unordered_set<std::uint64_t> positions;
    std::string version;
    std::string parameters;
    for (ResultRecord record; reader->next(record);) {
        if (total == 0) {
            total = record.pairs;
            version = record.version;
            parameters = record.parameters;
        }
        const bool again = !ids.insert(record.id).second;
        findings.doubled += again || !positions.insert(record.position).second ? 1 : 0;
        if (record.pairs != total || record.version != version || record.parameters != parameters) {
            ++findings.altered;
            findings.remark("altered", record.id + ": it is of another run");
        }
        findings.addOutcome(record);
    }
    if (ids.empty()) {
        console.warn("'" + path +
                     "' has no record: darkroom pairs leaves such a file where it finds nothing, and so does "
                     "whatever empties one");
    }
    findings.missing = total > positions.size() ? total - positions.size() : 0;
    const bool good = findings.report(std::cout, total);
    return isWhole(console, path, format, *reader) && good ? ExitStatus::done : ExitStatus::outsideLimits;
}

/// The format of a file that has results; nothing for another file.
std::optional<ResultFormat> formatOfResults(const std::string& path) {
    try {
        const ResultFormat format = resultFormatOf("LIST", path);
        openResults(path, format);
        return format;
    } catch (const Refusal&) {
        return {};
    }
}

ExitStatus verify(const Console& console, const VerifyArguments& options) {
    if (options.results.empty()) {
        if (options.list.path != "-" && isArchive(options.list.path)) {
            return verifyArchive(options);
        }
        if (const std::optional<ResultFormat> format = formatOfResults(options.list.path)) {
            if (!options.list.format.empty() || !options.list.shard.empty()) {
                throw Refusal("--list-format, --shard: there is no list");
            }
            return verifyAlone(console, options.list.path, *format);
        }
        std::error_code error;
        if (options.list.path != "-" && !std::filesystem::exists(options.list.path, error)) {
            throw Refusal("cannot read '" + options.list.path + "': " + std::strerror(ENOENT));
        }
        const std::string extension = std::filesystem::path(options.list.path).extension().string();
        if (extension == ".likeness" && std::filesystem::exists(options.list.path, error)) {
            throw Refusal("'" + options.list.path + "' is no archive: its first bytes are none of one");
        }
        throw Refusal("RESULTS is required: LIST is '" + options.list.path +
                      "', which is no archive; an archive alone stands in the place of LIST");
    }
    const ResultFormat format = resultFormatOf("RESULTS", options.results);
    const PairList pairs = options.list.read();
    const auto reader = openResults(options.results, format);
    Verification verification(pairs);
    for (ResultRecord record; reader->next(record);) {
        verification.add(record);
    }
    const bool good = verification.report(std::cout);
    return isWhole(console, options.results, format, *reader) && good ? ExitStatus::done : ExitStatus::outsideLimits;
}

}  // namespace

Action declareVerify(OptionParser& app) {
    auto options = std::make_shared<VerifyArguments>();
    app.addOption("LIST", options->list.path,
                  "List of pairs, as for darkroom batch; or an archive, or results without a list, and nothing else")
        ->required();
    app.addOption("RESULTS", options->results, "Results of the batch, or of the shard that --shard names");
    addListOptions(app, options->list);
    return [options](const Console& console) { return verify(console, *options); };
}

}  // namespace likeness::darkroom
