// darkroom pairs: which photographs of an archive look alike, all compared with all.
#include <likeness/threads.hpp>
#include "archive/archive_pairs.hpp"
#include "archive/pairs_log.hpp"
#include "archive/photograph_index.hpp"
#include "batch/distance_columns.hpp"
#include "batch/earlier_results.hpp"
#include "batch/output_lock.hpp"
#include "batch/result_merge.hpp"
#include "batch/result_store.hpp"
#include "batch/shard.hpp"
#include "batch/stable_hash.hpp"
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
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <set>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t recordsAtOnce = 4096;

struct PairsArguments {
    std::string archive;
    std::string other;
    std::vector<std::string> limits;
    std::int64_t nearest = 0;
    std::int64_t most = 10'000'000;
    std::string by = "mean";
    std::string output = "pairs.db";
    std::string clusters;
    std::string shard;
    bool distances = false;
    bool resume = false;
    bool overwrite = false;
};

/// What ends a run that a signal stops.
class Stopped {
public:
    explicit Stopped(int signal) : signal_(signal) {}
    const char* name() const { return signal_ == SIGINT ? "SIGINT" : "SIGTERM"; }
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
    addCoefficientLimits(named, text);
}

std::string clusterTable(const ArchiveFile& archive, const std::vector<ArchiveCluster>& clusters) {
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

bool sameBytes(const std::string& first, const std::string& second) {
    std::ifstream a(first, std::ios::binary);
    std::ifstream b(second, std::ios::binary);
    return a && b &&
           std::equal(std::istreambuf_iterator<char>(a), std::istreambuf_iterator<char>(),
                      std::istreambuf_iterator<char>(b), std::istreambuf_iterator<char>());
}

/// One run: pairs are found and kept in a log, then grouped and recorded.
class Run {
public:
    Run(const Console& console, const PairsArguments& options, const ArchiveFile& first, const ArchiveFile& second,
        const PairSearch& search, Shard shard)
        : console_(console),
          options_(options),
          first_(first),
          second_(second),
          search_(search),
          shard_(shard),
          entries_(entriesOfShard(first, second, search, shard)),
          ofWhole_(isOfWholePhotographs(first.origin())),
          fingerprint_(fingerprintOfPairs(first, second, search)),
          key_(fmt::format("{:016x}", mixed(fnv1a(fmt::format("{} {}/{}", fingerprint_, shard.index, shard.count))))),
          output_(behindLinks(options.output)),
          log_(workingFile(output_, "pairs-found")) {}

    ExitStatus run() {
        const StopSignals signals;
        signals_ = &signals;
        std::error_code error;
        std::optional<OutputLock> outputLock;
        if (fs::is_regular_file(output_, error)) {
            outputLock.emplace(output_);
        }
        const OutputLock lock(log_, OutputLock::Links::refuse, options_.output);
        takeUp();
        const bool isThere = fs::exists(output_, error);
        if (isThere && !options_.overwrite && !options_.resume) {
            throw Refusal("--output: '" + options_.output + "' exists; --overwrite replaces it");
        }
        // What stands there is not the unfinished work's: it must be what would be written.
        const bool mustBeSame = isThere && options_.resume && state_.wholeBytes == 0;
        try {
            find();
            if (!options_.clusters.empty()) {
                group();
            }
            record(mustBeSame);
        } catch (const Stopped& stopped) {
            console_.showProgress({});
            console_.tell(fmt::format("stopped by {}: {} of {} compared, --resume goes on from there", stopped.name(),
                                      state_.next - entries_.begin,
                                      numberOf(entries_.end - entries_.begin, "photograph")));
            return stopped.status();
        } catch (const TooManyPairs&) {
            fs::remove(log_, error);
            throw;
        }
        fs::remove(log_, error);
        const bool sound = first_.damage().empty() && second_.damage().empty() && state_.damage.empty();
        return sound ? ExitStatus::done : ExitStatus::outsideLimits;
    }

private:
    void checkSignals() const {
        if (const int signal = signals_->received(); signal != 0) {
            throw Stopped(signal);
        }
    }

    bool isTimeToShow() {
        if (Clock::now() - shown_ < std::chrono::milliseconds(200)) {
            return false;
        }
        shown_ = Clock::now();
        return true;
    }

    /// Finds what an earlier run left.
    void takeUp() {
        std::string key;
        const std::optional<PairsLogState> left = stateOfPairsLog(log_, key);
        state_.next = entries_.begin;
        if (!left || options_.overwrite) {
            return;
        }
        if (!options_.resume) {
            throw Refusal("--output: an earlier run left unfinished work for '" + options_.output +
                          "'; --resume goes on with it, --overwrite begins anew");
        }
        if (key != key_) {
            throw Refusal("--resume: the unfinished work for '" + options_.output +
                          "' is of other archives or other options; --overwrite begins anew");
        }
        const std::uint64_t next = left->pairs == 0 && left->next == 0 ? entries_.begin : left->next;
        if (next < entries_.begin || next > entries_.end) {
            throw Refusal("--resume: the unfinished work for '" + options_.output +
                          "' is damaged; --overwrite begins anew");
        }
        state_ = *left;
        state_.next = next;
        if (next > entries_.begin) {
            console_.tell(fmt::format("{} of {} compared already", next - entries_.begin,
                                      numberOf(entries_.end - entries_.begin, "photograph")));
        }
    }

    void find() {
        const Clock::time_point begin = Clock::now();
        PairsLogWriter log(log_, key_, state_.wholeBytes);
        PairSearch search = search_;
        search.had = state_.pairs;
        search.progress = [&](std::size_t, std::size_t) {
            checkSignals();
            if (isTimeToShow()) {
                console_.showProgress(fmt::format("{}/{} photographs compared", state_.next - entries_.begin,
                                                  entries_.end - entries_.begin));
            }
        };
        std::vector<PairsLogReader::Numbers> numbers;
        try {
            findAlikePairs(
                first_, second_, search, {state_.next, entries_.end},
                [&](std::size_t next, const std::vector<ArchivePair>& pairs, const std::vector<std::string>& damage) {
                    numbers.clear();
                    for (const ArchivePair& pair : pairs) {
                        numbers.emplace_back(pair.first, pair.second);
                    }
                    log.add(next, numbers, damage);
                    state_.next = next;
                    state_.pairs += pairs.size();
                    state_.damage.insert(state_.damage.end(), damage.begin(), damage.end());
                });
        } catch (const Stopped&) {
            log.flush();
            throw;
        }
        log.flush();
        console_.showProgress({});
        const std::set<std::string> damage(state_.damage.begin(), state_.damage.end());
        for (const std::string& line : damage) {
            console_.warn(line + "; what stands there is in no pair");
        }
        console_.tell(fmt::format("{} of {} and {}, in {:.1f} s", numberOf(state_.pairs, "pair"),
                                  numberOf(entries_.end - entries_.begin, "photograph"),
                                  numberOf(second_.size(), "photograph"),
                                  std::chrono::duration<double>(Clock::now() - begin).count()));
    }

    template <typename Take>
    void forEachPair(const Take& take) const {
        std::uint64_t taken = 0;
        std::vector<PairsLogReader::Numbers> pairs;
        if (auto log = PairsLogReader::open(log_)) {
            while (log->next(pairs)) {
                for (const auto& [first, second] : pairs) {
                    take(first, second);
                    if (++taken % 256 == 0) {
                        checkSignals();
                    }
                }
            }
        }
        if (taken != state_.pairs) {
            throw Refusal("cannot read '" + log_ + "': the pairs that were found are not there any more");
        }
    }

    void group() {
        JoinedEntries joined(first_.size());
        forEachPair([&](std::uint32_t first, std::uint32_t second) { joined.join(first, second); });
        const std::vector<ArchiveCluster> clusters =
            clustersOf(first_, joined, search_.score, search_.threads, [&](std::size_t done, std::size_t entries) {
                checkSignals();
                if (isTimeToShow()) {
                    console_.showProgress(fmt::format("{}/{} photographs grouped", done, entries));
                }
            });
        console_.showProgress({});
        replaceFile(options_.clusters, clusterTable(first_, clusters));
        console_.tell("wrote '" + options_.clusters + "': " + numberOf(clusters.size(), "group"));
    }

    PhotographAnalysis analysed(const ArchiveFile& archive, std::uint32_t entry) const {
        ArchivedPhotograph photograph = archive.photograph(entry);
        photograph.distributions = archive.distributions(entry);
        PhotographAnalysis analysis = analysisOf(std::move(photograph));
        analysis.countedPixels = ofWhole_ ? 0 : -1;
        return analysis;
    }

    /// Writes the pairs as a batch records them, under a working name that then becomes the output's.
    void record(bool mustBeSame) {
        const AnalysisOptions& analysis = first_.origin().options;
        ResultFile file;
        file.format = resultFormatOf("--output", options_.output);
        const std::string ending = fs::path(output_).extension().string();
        file.path = workingFile(output_, "pairs") + ending;
        ResultOrigin origin{first_.origin().version, first_.origin().fingerprint, {}};
        std::vector<CarriedValue> carried;
        if (!shard_.whole()) {
            file.columns.emplace_back(pairsShardColumn);
            carried.push_back({pairsShardColumn, CarriedValue::Kind::text,
                               fmt::format("{}/{} {}", shard_.index, shard_.count, fingerprint_)});
        }
        const auto kind = file.format == ResultFormat::csv ? CarriedValue::Kind::text : CarriedValue::Kind::json;
        if (options_.distances) {
            file.columns.insert(file.columns.end(), distanceColumns().begin(), distanceColumns().end());
            origin.distances = kind;
        }
        if (analysis.hue) {
            file.columns.emplace_back(hueColumn);
            origin.hue = kind;
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
            std::optional<std::uint32_t> firstEntry;
            PhotographAnalysis firstAnalysis;
            std::uint64_t position = 0;
            forEachPair([&](std::uint32_t first, std::uint32_t second) {
                if (firstEntry != first) {
                    firstEntry = first;
                    firstAnalysis = analysed(first_, first);
                }
                Pair pair;
                pair.position = ++position;
                pair.first = first_.pathOf(first);
                pair.second = second_.pathOf(second);
                pair.id = pair.first + '|' + pair.second;
                pair.carried = carried;
                const PhotographAnalysis secondAnalysis = analysed(second_, second);
                PairOutcome outcome = compareAnalyses(pair.first, firstAnalysis, pair.second, secondAnalysis, analysis);
                if (options_.distances && outcome.compared()) {
                    outcome.distances = distancesOf(firstAnalysis.distributions, secondAnalysis.distributions);
                }
                records.push_back(recordOf(pair, state_.pairs, std::move(outcome), origin));
                if (position % ArchiveFile::worthForgetting == 0) {
                    first_.forgetIfLarge();
                    second_.forgetIfLarge();
                }
                if (records.size() == recordsAtOnce || position == state_.pairs) {
                    writer->append(records);
                    records.clear();
                    if (isTimeToShow()) {
                        console_.showProgress(fmt::format("{}/{} pairs written", position, state_.pairs));
                    }
                }
            });
            if (state_.pairs == 0 && !shard_.whole()) {
                Pair none;
                none.position = 1;
                none.id = pairsShardColumn;
                none.carried = carried;
                PairOutcome outcome;
                outcome.error = shardWithoutPairs;
                writer->append({recordOf(none, 1, std::move(outcome), origin)});
            }
            writer->finish();
            checkpointResults(file.path, file.format);
        } catch (...) {
            removeWithJournals(file.path);
            throw;
        }
        console_.showProgress({});
        if (mustBeSame) {
            const bool same = sameBytes(file.path, output_);
            removeWithJournals(file.path);
            if (!same) {
                std::error_code error;
                fs::remove(log_, error);
                throw Refusal("--output: '" + options_.output +
                              "' exists and holds something else than these pairs; --overwrite replaces it");
            }
        } else if (std::rename(file.path.c_str(), output_.c_str()) != 0) {
            const int problem = errno;
            removeWithJournals(file.path);
            throw Refusal("cannot write '" + options_.output + "': " + std::strerror(problem));
        }
        synchronizeFolderOf(output_);
        console_.tell("results are in '" + options_.output + "'");
    }

    const Console& console_;
    const PairsArguments& options_;
    const ArchiveFile& first_;
    const ArchiveFile& second_;
    const PairSearch& search_;
    Shard shard_;
    EntryRange entries_;
    bool ofWhole_;  ///< whether all of each photograph counts
    std::string fingerprint_;
    std::string key_;  ///< of the log: the fingerprint with the shard
    std::string output_;
    std::string log_;
    PairsLogState state_;
    const StopSignals* signals_ = nullptr;
    Clock::time_point shown_ = Clock::now();
};

ExitStatus pairs(const Console& console, const PairsArguments& options) {
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
    if (!options.clusters.empty() && !options.shard.empty()) {
        throw Refusal("--clusters: groups hang together by the pairs of all shards; leave out --shard");
    }
    if (options.resume && options.overwrite) {
        throw Refusal("--overwrite begins anew and excludes --resume");
    }
    const Shard shard = options.shard.empty() ? Shard() : parseShard(options.shard);
    resultFormatOf("--output", options.output);
    OutputPlan plan(console, {options.archive, options.other}, InputKind::others);
    plan.data("--output", options.output);
    if (!options.clusters.empty()) {
        plan.data("--clusters", options.clusters);
        std::error_code problem;
        if (fs::exists(options.clusters, problem) && !options.overwrite && !options.resume) {
            throw Refusal("--clusters: '" + options.clusters + "' exists; --overwrite replaces it");
        }
    }
    std::error_code error;
    const fs::file_status status = fs::status(options.output, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Refusal("--output: '" + options.output + "' is not a regular file");
    }
    if (fs::exists(status) && !options.overwrite && !options.resume) {
        throw Refusal("--output: '" + options.output + "' exists; --overwrite replaces it");
    }
    refuseLeftJournals(options.output, resultFormatOf("--output", options.output));
    const ArchiveFile first(options.archive);
    std::optional<ArchiveFile> another;
    if (!options.other.empty()) {
        another.emplace(options.other);
        if (!another->origin().agreesWith(first.origin())) {
            throw Refusal("OTHER: '" + options.other + "' was made with other parameters or by another version than '" +
                          options.archive + "'");
        }
    }
    const ArchiveFile& second = another ? *another : first;
    for (const ArchiveFile* archive : {&first, &second}) {
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
    return Run(console, options, first, second, search, shard).run();
}

}  // namespace

Action declarePairs(OptionParser& app) {
    auto options = std::make_shared<PairsArguments>();
    app.addOption("ARCHIVE", options->archive, "Archive that darkroom index made")->required();
    app.addOption("OTHER", options->other,
                  "Another one: each photograph of the first is compared with each of this one");
    app.addOption("--min", options->limits,
                  optionText("Least mean of the coefficients, 0 to 1, or least values of coefficients by name. Given "
                             "again, it adds limits",
                             "--min 0.98"))
        ->typeName("VALUE|NAME=VALUE,...")
        ->expected(1)
        ->allowExtraArguments(false)
        ->takeAll();
    app.addOption("--nearest", options->nearest,
                  optionText("The K nearest of each photograph, 1 to 100000, that reach the limits", "--nearest 5"))
        ->typeName("K")
        ->check(integerBetween(1, 100000));
    app.addOption("--by", options->by,
                  optionText("What is nearest, and what a --min without a name limits: the mean or the least of the "
                             "coefficients",
                             "--by least"))
        ->typeName("WHAT")
        ->check(oneOf({"mean", "least"}))
        ->showDefault();
    app.addOption(
           "--most", options->most,
           optionText("More pairs than these are refused, 1 to 4000000000; until all are found one takes 8 bytes "
                      "of disk beside the output",
                      "--most 1000"))
        ->typeName("N")
        ->check(integerBetween(1, 4000000000))
        ->showDefault();
    app.addOption("-o,--output", options->output,
                  optionText("Results as of a batch: .db, .sqlite or .sqlite3 (SQLite), .jsonl or .ndjson (JSON "
                             "Lines), .csv",
                             "--output pairs.csv"))
        ->typeName("FILE")
        ->showDefault();
    app.addFlag(
        "--distances", options->distances,
        optionText("Record distances of the distributions too, by correlate, in further columns", "--distances"));
    app.addOption("--clusters", options->clusters,
                  optionText("Table (CSV) of the groups that hang together by the pairs, with the photograph of each "
                             "that is most like the others",
                             "--clusters groups.csv"))
        ->typeName("FILE");
    app.addOption(
           "--shard", options->shard,
           optionText("Only the I-th of N parts of the comparisons, I from 1 to N; darkroom merge joins the results of "
                      "all parts",
                      "--shard 3/16"))
        ->typeName("I/N");
    app.addFlag("--resume", options->resume,
                optionText("Go on where a run of the same options was stopped", "--resume"));
    app.addFlag("--overwrite", options->overwrite,
                optionText("Replace an existing output, and drop what a stopped run left", "--overwrite"));
    return [options](const Console& console) { return pairs(console, *options); };
}

}  // namespace likeness::darkroom
