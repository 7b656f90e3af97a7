// darkroom pairs: which photographs of an archive look alike, all compared with all.
#include <likeness/threads.hpp>
#include "archive/archive_pairs.hpp"
#include "archive/photograph_index.hpp"
#include "batch/earlier_results.hpp"
#include "batch/output_lock.hpp"
#include "batch/result_store.hpp"
#include "batch/stop_signals.hpp"
#include "batch/working_file.hpp"
#include "commands/subcommands.hpp"
#include "console/coefficient_limits.hpp"
#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "files/csv_text.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"

#include <fmt/format.h>

#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Options {
    std::string archive;
    std::string other;
    std::vector<std::string> limits;
    std::int64_t nearest = 0;
    std::int64_t most = 10'000'000;
    std::string by = "mean";
    std::string output = "pairs.db";
    std::string clusters;
    bool overwrite = false;
};

/// A stopped run leaves nothing: its work takes a minute, not a day.
class Stopped {
public:
    explicit Stopped(int signal) : signal_(signal) {}
    ExitStatus status() const { return signal_ == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated; }

private:
    int signal_;
};

/// Takes "0.98", which the mean must reach, and "chroma=0.9,lightness=0.8".
void addLimits(const std::string& text, PairSearch& search, CoefficientLimits& named) {
    if (const double number = parseNumber(text); !std::isnan(number)) {
        if (!(number >= 0 && number <= 1)) {
            throw Refusal("--min: '" + text + "' is not a number from 0 to 1");
        }
        search.leastScore = std::max(search.leastScore, number);
        return;
    }
    try {
        addCoefficientLimits(named, text);
    } catch (const Refusal& refusal) {
        throw Refusal(std::string("--min: ") + refusal.what());
    }
}

std::string clusterTable(const Archive& archive, const std::vector<ArchiveCluster>& clusters) {
    std::string table = csvLine({"cluster", "size", "representative", "path", "mean"});
    for (std::size_t number = 0; number < clusters.size(); ++number) {
        const ArchiveCluster& cluster = clusters[number];
        for (std::size_t i = 0; i < cluster.entries.size(); ++i) {
            table += csvLine({std::to_string(number + 1), std::to_string(cluster.entries.size()),
                              i == cluster.representative ? "1" : "0", std::string(archive.pathOf(cluster.entries[i])),
                              fmt::format("{}", cluster.means[i])});
        }
    }
    return table;
}

/// Writes the pairs as a batch records them, under a working name that then becomes the output's.
void writeRecords(const Options& options, const Archive& first, const Archive& second,
                  const std::vector<ArchivePair>& pairs) {
    const AnalysisOptions& analysis = first.origin().options;
    const std::string output = behindLinks(options.output);
    ResultFile file;
    file.format = resultFormatOf("--output", options.output);
    const std::string ending = fs::path(output).extension().string();
    file.path = workingFile(output, "pairs") + ending;
    ResultOrigin origin{first.origin().version, first.origin().fingerprint, {}};
    if (analysis.hue) {
        file.columns.emplace_back(hueColumn);
        origin.hue = file.format == ResultFormat::csv ? CarriedValue::Kind::text : CarriedValue::Kind::json;
    }
    // The lock keeps a second process from the same file. What is in the file is left of one that was killed.
    const OutputLock lock(file.path, OutputLock::Links::refuse);
    try {
        std::error_code error;
        for (const char* const journal : {"-wal", "-shm", "-journal"}) {
            fs::remove(file.path + journal, error);
        }
        if (::truncate(file.path.c_str(), 0) != 0) {
            throw Refusal("cannot write '" + file.path + "': " + std::strerror(errno));
        }
        const auto writer = writeResults(file);
        std::vector<ResultRecord> records;
        const auto analysed = [](const Archive& archive, std::uint32_t entry) {
            ArchivedPhotograph photograph = archive.photograph(entry);
            photograph.distributions = archive.distributions(entry);
            return analysisOf(std::move(photograph));
        };
        std::optional<std::uint32_t> firstEntry;
        PhotographAnalysis firstAnalysis;
        for (std::size_t k = 0; k < pairs.size(); ++k) {
            if (firstEntry != pairs[k].first) {
                firstEntry = pairs[k].first;
                firstAnalysis = analysed(first, pairs[k].first);
            }
            Pair pair;
            pair.position = k + 1;
            pair.first = first.pathOf(pairs[k].first);
            pair.second = second.pathOf(pairs[k].second);
            pair.id = pair.first + '|' + pair.second;
            records.push_back(recordOf(
                pair, pairs.size(),
                compareAnalyses(pair.first, firstAnalysis, pair.second, analysed(second, pairs[k].second), analysis),
                origin));
            constexpr std::size_t atOnce = 4096;
            if (records.size() == atOnce || k + 1 == pairs.size()) {
                writer->append(records);
                records.clear();
            }
        }
        writer->finish();
        checkpointResults(file.path, file.format);
    } catch (...) {
        removeWithJournals(file.path);
        throw;
    }
    if (std::rename(file.path.c_str(), output.c_str()) != 0) {
        const int problem = errno;
        removeWithJournals(file.path);
        throw Refusal("cannot write '" + options.output + "': " + std::strerror(problem));
    }
    synchronizeFolderOf(output);
}

ExitStatus pairs(const Console& console, const Options& options) {
    PairSearch search;
    CoefficientLimits limits;
    for (const std::string& text : options.limits) {
        addLimits(text, search, limits);
    }
    if (options.by == "least") {
        search.score.kind = RankingScore::Kind::least;
    }
    if (options.limits.empty() && options.nearest == 0) {
        throw Refusal("--min or --nearest is required: a limit, or how many of each");
    }
    if (!options.clusters.empty() && !options.other.empty()) {
        throw Refusal("--clusters: groups are of one archive, not of pairs with OTHER");
    }
    resultFormatOf("--output", options.output);
    OutputPlan plan(console, {options.archive, options.other}, InputKind::others);
    plan.file("--output", options.output);
    if (!options.clusters.empty()) {
        plan.file("--clusters", options.clusters);
    }
    std::error_code error;
    if (fs::exists(options.output, error) && !options.overwrite) {
        throw Refusal("--output: '" + options.output + "' exists; --overwrite replaces it");
    }
    const Archive first(options.archive);
    std::optional<Archive> another;
    if (!options.other.empty()) {
        another.emplace(options.other);
        if (!another->origin().agreesWith(first.origin())) {
            throw Refusal("OTHER: '" + options.other + "' was made with other parameters or by another version than '" +
                          options.archive + "'");
        }
    }
    const Archive& second = another ? *another : first;
    for (const Archive* archive : {&first, &second}) {
        for (const std::string& damage : archive->damage()) {
            console.warn("'" + archive->path() + "': " + damage + "; darkroom repair keeps what can be read");
        }
        if (archive == &second) {
            break;
        }
    }
    const bool hue = first.origin().options.hue.has_value();
    if (hue && options.by == "least") {
        search.score.weights[archive::hueNumber] = 1;
    }
    for (const auto& [name, least] : limits) {
        const auto place = std::find_if(correlateNames.begin(), correlateNames.end(),
                                        [&name = name](const CorrelateName& its) { return name == its.name; });
        if (place == correlateNames.end() && !hue) {
            throw Refusal("--min: the archive has no hue; darkroom index --hue makes one that has");
        }
        search.least[static_cast<std::size_t>(place - correlateNames.begin())] = static_cast<float>(least);
    }
    search.nearest = static_cast<std::size_t>(options.nearest);
    search.most = static_cast<std::size_t>(options.most);
    search.threads = static_cast<unsigned>(threads());
    std::optional<OutputLock> lock;
    if (fs::is_regular_file(options.output, error)) {
        lock.emplace(options.output);
    }
    const StopSignals signals;
    const Clock::time_point begin = Clock::now();
    Clock::time_point shown = begin;
    search.progress = [&](std::size_t done, std::size_t entries) {
        if (signals.received() != 0) {
            throw Stopped(signals.received());
        }
        if (Clock::now() - shown > std::chrono::milliseconds(200)) {
            shown = Clock::now();
            console.showProgress(fmt::format("{}/{} photographs compared", done, entries));
        }
    };
    std::vector<ArchivePair> found;
    std::vector<std::string> damage;
    try {
        found = alikePairs(first, second, search, &damage);
    } catch (const Stopped& stopped) {
        console.showProgress({});
        console.tell("stopped; nothing is written");
        return stopped.status();
    }
    console.showProgress({});
    for (const std::string& line : damage) {
        console.warn(line + "; what stands there is in no pair");
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    console.tell(fmt::format("{} of {} and {}, in {:.1f} s", numberOf(found.size(), "pair"),
                             numberOf(first.size(), "photograph"), numberOf(second.size(), "photograph"), seconds));
    if (!options.clusters.empty()) {
        const std::vector<ArchiveCluster> clusters = clustersOf(first, found, search.score, search.threads);
        replaceFile(options.clusters, clusterTable(first, clusters));
        console.tell("wrote '" + options.clusters + "': " + numberOf(clusters.size(), "group"));
    }
    writeRecords(options, first, second, found);
    console.tell("results are in '" + options.output + "'");
    return ExitStatus::done;
}

}  // namespace

Action declarePairs(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("ARCHIVE", options->archive, "Archive that darkroom index made")->required();
    app.add_option("OTHER", options->other,
                   "Another one: each photograph of the first is compared with each of this one");
    app.add_option("--min", options->limits,
                   optionText("Least mean of the coefficients, 0 to 1, or least values of coefficients by name. Given "
                              "again, it adds limits",
                              "--min 0.98"))
        ->type_name("VALUE|NAME=VALUE,...")
        ->expected(1)
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--nearest", options->nearest,
                   optionText("The K nearest of each photograph, 1 to 100000, that reach the limits", "--nearest 5"))
        ->type_name("K")
        ->check(integerBetween(1, 100000));
    app.add_option("--by", options->by,
                   optionText("What is nearest, and what a --min without a name limits: the mean or the least of the "
                              "coefficients",
                              "--by least"))
        ->type_name("WHAT")
        ->check(oneOf({"mean", "least"}))
        ->capture_default_str();
    app.add_option("--most", options->most,
                   optionText("More pairs than these are refused, 1 to 4000000000; one takes 48 bytes of memory",
                              "--most 1000"))
        ->type_name("N")
        ->check(integerBetween(1, 4000000000))
        ->capture_default_str();
    app.add_option("-o,--output", options->output,
                   optionText("Results as of a batch: .db, .sqlite or .sqlite3 (SQLite), .jsonl or .ndjson (JSON "
                              "Lines), .csv",
                              "--output pairs.csv"))
        ->type_name("FILE")
        ->capture_default_str();
    app.add_option("--clusters", options->clusters,
                   optionText("Table (CSV) of the groups that hang together by the pairs, with the photograph of each "
                              "that is most like the others",
                              "--clusters groups.csv"))
        ->type_name("FILE");
    app.add_flag("--overwrite", options->overwrite, optionText("Replace an existing output", "--overwrite"));
    return [options](const Console& console) { return pairs(console, *options); };
}

}  // namespace likeness::darkroom
