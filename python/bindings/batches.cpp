// Batches of pairs, recorded as the program `darkroom batch` records them.
#include "calls.hpp"
#include "models.hpp"

#include "archive/archived_analyses.hpp"
#include "batch/batch_run.hpp"
#include "batch/mask_files.hpp"
#include "batch/output_columns.hpp"
#include "batch/output_lock.hpp"
#include "batch/pair_list.hpp"
#include "batch/result_merge.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "photofile/counted_part.hpp"
#include "scores/score_predictor.hpp"

#include <pybind11/stl.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace likeness::python {
namespace {

namespace py = pybind11;

/// The reason to end that a function of Python's gave, carried over the threads of the run.
class Interruption {
public:
    explicit Interruption(py::object progress) : progress_(std::move(progress)) {}

    void showProgress(std::size_t recorded, std::size_t pairs) {
        if (progress_.is_none() || error_) {
            return;
        }
        const py::gil_scoped_acquire acquire;
        try {
            const py::object answer = progress_(recorded, pairs);
            cancelled_ = cancelled_ || answer.is(py::bool_(false));
        } catch (py::error_already_set& error) {
            error_ = std::make_unique<py::error_already_set>(std::move(error));
        }
    }

    bool stops() {
        if (!error_ && !cancelled_) {
            const py::gil_scoped_acquire acquire;
            if (PyErr_CheckSignals() != 0) {
                error_ = std::make_unique<py::error_already_set>();
            }
        }
        return error_ || cancelled_;
    }

    bool cancelled() const noexcept { return cancelled_; }

    /// Needs the interpreter's lock.
    void rethrow() {
        if (error_) {
            throw py::error_already_set(std::move(*error_));
        }
    }

private:
    py::object progress_;
    std::unique_ptr<py::error_already_set> error_;
    bool cancelled_ = false;
};

ResultFile outputOf(const std::string& path, bool resume) {
    ResultFile file;
    file.path = behindLinks(path);
    file.format = resultFormatOf("output", path);
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(file.path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        throw Refusal("output: '" + path + "' is not a regular file");
    }
    if (!resume && (std::filesystem::exists(status) || std::filesystem::exists(previousResults(file.path), error))) {
        throw Refusal("output: '" + path + "' exists; resume=True goes on with it");
    }
    return file;
}

/// Of a list, and how it is compared; the names are those of the arguments in Python.
py::tuple runBatch(const py::dict& asked, const py::object& progress) {
    const auto text = [&](const char* name) { return asked[name].cast<std::string>(); };
    BatchOptions options;
    options.root = text("root");
    options.retryFailed = asked["retry_failed"].cast<bool>();
    options.checksums = asked["checksums"].cast<bool>();
    options.jobs = asked["jobs"].cast<unsigned>();
    options.cache = asked["cache"].cast<std::size_t>();
    options.mostPixels = asked["max_pixels"].cast<std::uint64_t>();
    options.analysis.model = comparisonModelOf(asked["model"].cast<py::tuple>());
    options.analysis.hue = hueWeightsOf(asked["hue"].cast<std::optional<std::string>>());
    options.distances = asked["distances"].cast<bool>();
    options.profiles = profilesWith(partChoiceOf(asked["part"]), profileChoiceOf(text("profile")));
    if (!asked["isolate"].is_none()) {
        const auto [seconds, bytes] = asked["isolate"].cast<std::pair<double, std::uint64_t>>();
        options.isolation = WorkLimits{seconds, bytes == 0 ? machineMemory() : bytes};
    }
    const std::string list = text("pairs");
    const std::string output = text("output");
    const std::string predict = text("predict");
    const std::string archive = text("archive");
    const auto check = asked["check"].cast<bool>();
    const auto resume = asked["resume"].cast<bool>();
    const auto [shard, shards] = asked["shard"].cast<std::pair<std::uint32_t, std::uint32_t>>();
    Interruption interruption(progress);
    std::vector<std::string> warnings;
    BatchEvents events;
    events.warn = [&warnings](const std::string& line) { warnings.push_back(line); };
    events.recorded = [&interruption](std::size_t recorded, std::size_t all) {
        interruption.showProgress(recorded, all);
    };
    events.stops = [&interruption] { return interruption.stops(); };
    const BatchEnd end = unlocked([&] {
        // A run sorts what is printed, and sets numbers of threads, for the whole process.
        static std::mutex oneAtATime;
        const std::unique_lock<std::mutex> only(oneAtATime, std::try_to_lock);
        if (!only.owns_lock()) {
            throw Refusal("another batch is running in this process; one at a time uses all processors");
        }
        ResultFile file = outputOf(output, resume);
        const PairList pairs = readPairs(list, std::nullopt, {shard, shards});
        file.columns =
            outputColumns(pairs.columns(), {options.distances, !predict.empty(), options.analysis.hue.has_value(), ""});
        if (!predict.empty()) {
            const auto predictor =
                std::make_shared<ScorePredictor>("predict", predict, options.analysis, options.profiles, events.warn);
            if (!maskFileColumns(pairs.columns()).empty()) {
                events.warn(predictor->maskRemark());
            }
            options.computed =
                predictedColumns(predictor, file.format, options.analysis.hue.has_value(), options.distances);
        }
        std::optional<ArchivedAnalyses> archived;
        options.known = [&archived](const std::string& path) {
            return archived ? archived->of(path) : std::optional<PhotographAnalysis>();
        };
        BatchRun run(pairs, file, options, events);
        if (!archive.empty()) {
            // A record's checksum is that of the file that its numbers are of.
            archived.emplace("archive", archive, check || options.checksums, options.analysis, options.profiles,
                             run.origin(), events.warn);
        }
        return run.run();
    });
    interruption.rethrow();
    return py::make_tuple(end.pairs, end.recorded, end.done, end.summary.failed(), end.seconds,
                          interruption.cancelled(), warnings);
}

py::tuple mergeResults(const std::vector<std::string>& inputs, const std::string& output, bool overwrite) {
    std::string assumption;
    std::uint64_t pairs = 0;
    std::uint64_t failed = 0;
    unlocked([&] {
        resultFormatOf("output", output);
        std::error_code error;
        const bool isThere = std::filesystem::exists(output, error);
        if (!overwrite && isThere) {
            throw Refusal("output: '" + output + "' exists; overwrite=True replaces it");
        }
        // A batch that goes on with the file that is to be replaced would write into nothing.
        std::optional<OutputLock> lock;
        if (std::filesystem::is_regular_file(output, error)) {
            lock.emplace(output);
        }
        const ResultMerge merge(inputs, output);
        merge.write(output, overwrite);
        assumption = merge.assumption();
        pairs = merge.pairs();
        failed = merge.failed();
    });
    return py::make_tuple(pairs, failed, assumption);
}

}  // namespace

void bindBatches(py::module_& module) {
    module.def("run_batch", runBatch);
    module.attr("least_file_memory") = std::uint64_t{64} << 20U;
    module.def("merge_results", mergeResults);
}

}  // namespace likeness::python
