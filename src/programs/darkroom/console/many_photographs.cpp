#include "console/many_photographs.hpp"

#include <likeness/threads.hpp>
#include "batch/finished_results.hpp"
#include "batch/ordered_pool.hpp"
#include "batch/stop_signals.hpp"
#include "console/image_output_options.hpp"
#include "console/progress.hpp"
#include "files/file_checksum.hpp"
#include "files/interrupt_cleanup.hpp"
#include "files/number_format.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "files/standard_input.hpp"
#include "photofile/decoder_remarks.hpp"
#include "photofile/file_description.hpp"
#include "photofile/image_header.hpp"
#include "photofile/lost_metadata.hpp"
#include "photofile/photograph_reader.hpp"

#include <fmt/format.h>
#include <omp.h>
#include <opencv2/core/utility.hpp>
#include <opencv2/core/utils/logger.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <system_error>
#include <utility>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

std::string replacedAll(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
        text.replace(at, what.size(), by);
    }
    return text;
}

/// A folder for one file, which goes with the object.
class PassingFolder {
public:
    PassingFolder() {
        path_ = (fs::temp_directory_path() / "darkroom-XXXXXX").string();
        const HeldInterruptions noSignal;
        if (::mkdtemp(path_.data()) == nullptr) {
            throw Refusal("cannot make a folder in '" + fs::temp_directory_path().string() +
                          "' on the way to standard output: " + std::strerror(errno));
        }
        onInterrupt_ = std::make_unique<RemovedOnInterrupt>(path_);
    }
    ~PassingFolder() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    PassingFolder(const PassingFolder&) = delete;
    PassingFolder& operator=(const PassingFolder&) = delete;

    const std::string& path() const noexcept { return path_; }

private:
    std::string path_;
    std::unique_ptr<RemovedOnInterrupt> onInterrupt_;
};

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// One photograph whose result goes to standard output: it is written as any other, and then handed on.
ExitStatus toStandardOutput(const Console& console, const PhotographInputs& inputs, const ImageOutput& output,
                            const PhotographOperation& operation) {
    if (inputs.format.empty()) {
        throw Refusal("--output: standard output has no name that tells the format; --format does, as in --format png");
    }
    if (!inputs.needsOutput) {
        throw Refusal("--output: standard output has the other result; name a file");
    }
    if (::isatty(STDOUT_FILENO) == 1) {
        throw Refusal(
            "--output: standard output is a terminal, which shows no picture; lead it into a file or a program");
    }
    std::string bytes;
    std::string lines;
    ExitStatus status = ExitStatus::done;
    {
        const PassingFolder folder;
        ImageOutput staged = output;
        staged.path = folder.path() + "/standard-output." + inputs.format;
        if (operation.files && operation.files(staged).size() != 1) {
            throw Refusal("--output: more than one picture comes of it, and standard output takes one; name a file");
        }
        Notes notes;
        const Console own(console, notes);
        const auto shown = [&](const std::string& text) {
            return replacedAll(text, '\'' + staged.path + '\'', "standard output");
        };
        try {
            status = operation.work(own, inputs.paths.front(), staged);
        } catch (const Refusal& refusal) {
            console.relay(shown(notes.lines));
            throw Refusal(shown(refusal.what()));
        }
        own.reportDumps();
        bytes = contentOf(staged.path);
        lines = shown(notes.lines);
    }
    console.relay(lines);
    console.give(bytes);
    return status;
}

/// A file's times, put back when something else has taken its place.
class KeptTimes {
public:
    explicit KeptTimes(const std::string& path) : path_(path) {
        struct ::stat status {};
        known_ = ::stat(path_.c_str(), &status) == 0;
        times_[0] = status.st_atim;
        times_[1] = status.st_mtim;
    }

    /// @throws Refusal
    void putBack() const {
        if (known_ && ::utimensat(AT_FDCWD, path_.c_str(), times_, 0) != 0) {
            throw Refusal("'" + path_ + "' is replaced, and its times cannot be kept: " + std::strerror(errno));
        }
    }

private:
    std::string path_;
    bool known_ = false;
    struct ::timespec times_[2] = {};
};

/// @param file  kept as a reference
ByteSource sourceOf(std::ifstream& file) {
    return [&file](std::uint64_t offset, unsigned char* bytes, std::size_t count) {
        file.clear();
        file.seekg(static_cast<std::streamoff>(offset));
        file.read(reinterpret_cast<char*>(bytes), static_cast<std::streamsize>(count));
        return static_cast<std::size_t>(std::max<std::streamsize>(0, file.gcount()));
    };
}

ImageHeader headerOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return readImageHeader(sourceOf(file));
}

/// What a file of this format begins as; `unknown` where that is not told apart here.
ImageFileFormat fileFormatOf(ImageFormat format) {
    switch (format) {
        case ImageFormat::png:
            return ImageFileFormat::png;
        case ImageFormat::jpeg:
            return ImageFileFormat::jpeg;
        case ImageFormat::tiff:
            return ImageFileFormat::tiff;
        case ImageFormat::hdr:
            return ImageFileFormat::radiance;
        case ImageFormat::exr:
            return ImageFileFormat::openExr;
        case ImageFormat::webp:
            return ImageFileFormat::webp;
        case ImageFormat::avif:
            return ImageFileFormat::avif;
        case ImageFormat::jxl:
            return ImageFileFormat::jpegXl;
        case ImageFormat::unknown:
            break;
    }
    return ImageFileFormat::unknown;
}

/// Gives the output the depth of the photograph where nobody asked for one.
/// @throws Refusal  where its format is not written with that depth
void keepDepth(const FileDescription& photograph, const std::string& path, ImageFormat format, ImageOutput& output) {
    if (output.depth || output.bits) {
        return;
    }
    switch (format) {
        case ImageFormat::png:
            if (photograph.bits == 16) {
                output.bits = 16;
            }
            break;
        case ImageFormat::jxl:
            if (photograph.floats) {
                throw Refusal("--in-place: '" + path +
                              "' has floats, and a JPEG XL is written with integers; --output names a folder");
            }
            if (photograph.bits > 8) {
                output.depth = StoredDepth::words;
            }
            break;
        case ImageFormat::tiff:
            if (photograph.bits > 32 || (photograph.bits == 32 && !photograph.floats)) {
                throw Refusal(
                    fmt::format("--in-place: '{}' has values of {} bits, and its result would have floats of 32; "
                                "--depth float agrees to it, --output names a folder",
                                path, photograph.bits));
            }
            break;
        case ImageFormat::exr:
            if (photograph.bits == 32) {
                output.depth = StoredDepth::floats;
            }
            break;
        case ImageFormat::avif:
            if (photograph.bits > 8) {
                output.depth = photograph.bits > 10 ? StoredDepth::twelveBits : StoredDepth::tenBits;
            }
            break;
        case ImageFormat::jpeg:
        case ImageFormat::webp:
            if (photograph.bits > 8) {
                throw Refusal(
                    fmt::format("--in-place: '{}' has {} bits, and its result would have 8; --depth 8 "
                                "agrees to it, --output names a folder",
                                path, photograph.bits));
            }
            break;
        default:
            break;
    }
}

/// Refuses a file that would get another format under its name, or lose what its result has no room for. The depth is
/// kept.
void checkOwnFormat(const FileAccess& access, const std::string& path, ImageOutput& output) {
    const ImageFormat format = imageFormatOf(path);
    if (format == ImageFormat::unknown) {
        throw Refusal("--in-place: '" + path +
                      "' has the extension of no format that is written; --output names a folder");
    }
    const ImageHeader header = headerOf(path);
    const ImageFileFormat own = fileFormatOf(format);
    if (own != ImageFileFormat::unknown && header.format != ImageFileFormat::unknown && header.format != own) {
        throw Refusal("--in-place: '" + path +
                      "' is not of the format that its extension says; --output names a folder");
    }
    const FileDescription photograph = describeFile(access, path);
    const auto refuse = [&](const std::string& what) {
        throw Refusal("--in-place: '" + path + "' " + what + "; --output names a folder");
    };
    if (header.cameraRaw) {
        refuse("is a camera's raw file, which is not written");
    }
    if (photograph.pages > 1 || photograph.layers.size() > 1) {
        refuse("holds more than one picture, and one would be left");
    }
    if (photograph.alpha.value_or(false)) {
        refuse("has an alpha channel, which would be lost");
    }
    if (photograph.isCutOff) {
        refuse("is cut off, and its result would look whole");
    }
    if (photograph.placed) {
        refuse("tells a display window or a luminance, which would be lost");
    }
    std::ifstream file(path, std::ios::binary);
    if (const std::string lost = output.strip ? "" : lostMetadata(sourceOf(file), header); !lost.empty()) {
        throw Refusal("--in-place: '" + path + "': " + lost + ", which would be lost; --strip agrees to it");
    }
    // What was stored without loss stays so.
    const bool lossless = (format == ImageFormat::jxl && photograph.codec == "its own colours") ||
                          (format == ImageFormat::webp && photograph.codec == "lossless");
    if (lossless && !output.quality) {
        output.quality = format == ImageFormat::webp ? losslessWebp : 100;
    }
    if (photograph.otherChannels) {
        refuse("holds CMYK or the like, and its result would hold R, G, B");
    }
    keepDepth(photograph, path, format, output);
}

/// Refuses options that none of the photographs' own formats has.
void checkOptionsInPlace(const ImageOutput& output, const std::vector<PlannedPhotograph>& planned) {
    std::string first;
    for (const PlannedPhotograph& one : planned) {
        ImageOutput asked = output;
        asked.path = one.input;
        if (imageFormatOf(asked.path) == ImageFormat::unknown) {
            continue;  // refused when its turn comes
        }
        try {
            checkImageFormat(asked);
            return;
        } catch (const Refusal& refusal) {
            first = first.empty() ? refusal.what() : first;
        }
    }
    if (!first.empty()) {
        throw Refusal(first);
    }
}

/// One run over many photographs.
class Run {
public:
    Run(const Console& console, const PhotographInputs& inputs, const PhotographOperation& operation,
        std::vector<PlannedPhotograph> planned)
        : console_(console), inputs_(inputs), operation_(operation), planned_(std::move(planned)) {}

    ExitStatus run() {
        const StopSignals signals;
        openRecords();
        console_.give(operation_.heading);
        const auto all = static_cast<unsigned>(std::max(1, threads()));
        const auto count = static_cast<unsigned>(std::min<std::size_t>(planned_.size(), 1024));
        const unsigned jobs =
            inputs_.jobs > 0 ? std::min(static_cast<unsigned>(inputs_.jobs), count) : std::min(all, count);
        threadsEach_ = static_cast<int>(std::max(1U, all / std::max(1U, jobs)));
        setThreads(threadsEach_);
        cv::setNumThreads(threadsEach_);
        cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
        try {
            work(jobs, signals);
        } catch (const std::bad_alloc&) {
            throw Refusal(withCount("out of memory; fewer --jobs take less"));
        } catch (const Refusal& refusal) {
            throw Refusal(withCount(refusal.what()));
        } catch (const std::system_error& error) {
            throw Refusal(withCount(error.what()));
        }
        return tellEnd(signals.received());
    }

private:
    using State = PhotographOutcome::State;

    void openRecords() {
        for (const PlannedPhotograph& one : planned_) {
            if (one.files.empty()) {
                return;
            }
            auto& record = records_[one.folder];
            if (record == nullptr) {
                std::error_code error;
                fs::create_directory(one.folder, error);  // what is missing then is refused by the record
                record = std::make_unique<FinishedResults>(one.folder, console_.command());
            }
        }
        parameters_ = fingerprintOfOptions(*inputs_.app);
    }

    void work(unsigned jobs, const StopSignals& signals) {
        const RemarkSorter sorter;
        Progress progress(console_, console_.command(), static_cast<int>(planned_.size()));
        OrderedPoolOf<PhotographOutcome> pool(planned_.size(), jobs, [this] { return worker(); });
        unsigned workersTold = pool.asked();
        std::vector<PhotographOutcome> outcomes;
        while (pool.take(outcomes, std::chrono::milliseconds(100))) {
            if (pool.workers() < workersTold) {
                workersTold = pool.workers();
                console_.warn(
                    fmt::format("threads or memory are short: {} at the same time, not {}; --jobs sets how many",
                                numberOf(workersTold, "photograph"), pool.asked()));
            }
            for (const PhotographOutcome& outcome : outcomes) {
                take(outcome);
            }
            progress.reach(static_cast<int>(finished()), static_cast<int>(planned_.size()));
            if (signals.received() != 0) {
                pool.stop();
            }
        }
    }

    OrderedPoolOf<PhotographOutcome>::Work worker() {
        // OpenMP ends the program where it lacks memory: it takes what it needs here, before others are at work.
        ::omp_set_num_threads(threadsEach_);
#pragma omp parallel
        ::omp_get_thread_num();
        return [this](std::size_t number) { return outcomeOf(planned_[number]); };
    }

    PhotographOutcome outcomeOf(const PlannedPhotograph& one) const {
        PhotographOutcome outcome;
        Notes notes;
        const Console own(console_, notes, inputs_.inPlace ? one.input : "");
        const auto fail = [&](const std::string& problem) {
            outcome.state = State::failed;
            const bool named = problem.find(one.input) != std::string::npos;
            own.complain((named ? "" : "'" + one.input + "': ") + problem);
        };
        try {
            outcome.state = isThere(one) ? State::skipped : State::done;
            if (outcome.state == State::done) {
                outcome.finished = carriedOut(one, own);
            }
        } catch (const MachineFailure& failure) {
            if (failure.errorNumber() == ENOMEM) {
                throw MemoryShortage(failure.what());
            }
            fail(failure.what());
        } catch (const MemoryShortage&) {
            throw;
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const cv::Exception& error) {
            if (error.code == cv::Error::StsNoMem) {
                throw MemoryShortage("cannot work on '" + one.input + "': " + std::strerror(ENOMEM));
            }
            fail(replacedAll(error.what(), "\n", " "));
        } catch (const std::exception& error) {
            fail(error.what());
        }
        outcome.lines = std::move(notes.lines);
        outcome.results = outcome.state == State::done ? std::move(notes.results) : std::string();
        return outcome;
    }

    /// @return  what is still to be recorded
    std::vector<FinishedResult> carriedOut(const PlannedPhotograph& one, const Console& own) const {
        ImageOutput output = one.output;
        std::string checksum;
        if (!one.files.empty()) {
            if (inputs_.inPlace) {
                if (isWithoutRecord_) {
                    throw Refusal("left as it is, since what is done cannot be recorded");
                }
                std::error_code error;
                if (fs::is_regular_file(one.input, error)) {
                    checkOwnFormat(own, one.input, output);
                }
            } else {
                makeFoldersOf(one.output.path);
            }
        }
        const KeptTimes times(one.input);
        // Before the work: in place, the photograph is not there any more behind it.
        std::error_code error;
        if (!one.files.empty() && fs::is_regular_file(one.input, error)) {
            checksum = fingerprintOf(one.input).sha256;
        }
        operation_.work(own, one.input, output);
        std::vector<FinishedResult> finished;
        if (!checksum.empty()) {
            for (const ImageOutput& file : one.files) {
                finished.push_back({nameIn(one, file), parameters_, checksum, fingerprintOf(file.path).sha256});
            }
        }
        if (inputs_.inPlace) {
            recordNow(one, finished);
            times.putBack();
        }
        return finished;
    }

    /// Records what has taken the place of a photograph before its turn comes in order: without a record a later call
    /// would work on it again. What cannot be recorded is left in `finished`: in its turn the run ends by it.
    void recordNow(const PlannedPhotograph& one, std::vector<FinishedResult>& finished) const {
        if (finished.empty()) {
            return;
        }
        const std::scoped_lock lock(recording_);
        try {
            records_.at(one.folder)->add(finished);
            finished.clear();
        } catch (const std::exception&) {
            isWithoutRecord_ = true;
        }
    }

    static void makeFoldersOf(const std::string& path) {
        const fs::path folder = fs::path(path).parent_path();
        std::error_code error;
        fs::create_directories(folder, error);
        if (error) {
            throw Refusal("cannot make the folder '" + folder.string() + "': " + error.message());
        }
    }

    static std::string nameIn(const PlannedPhotograph& one, const ImageOutput& file) {
        return fs::path(file.path).lexically_relative(one.folder).string();
    }

    /// Whether an earlier call has made all results, and they and the photograph are as they were.
    bool isThere(const PlannedPhotograph& one) const {
        if (!inputs_.resume || one.files.empty()) {
            return false;
        }
        const FinishedResults& record = *records_.at(one.folder);
        std::string input;
        for (const ImageOutput& file : one.files) {
            const FinishedResult* const known = record.find(nameIn(one, file));
            std::error_code error;
            if (known == nullptr || known->parameters != parameters_ || !fs::is_regular_file(file.path, error) ||
                fingerprintOf(file.path).sha256 != known->output) {
                return false;
            }
            if (!inputs_.inPlace) {
                input = input.empty() ? fingerprintOf(one.input).sha256 : input;
                if (input != known->input) {
                    return false;
                }
            }
        }
        return true;
    }

    void take(const PhotographOutcome& outcome) {
        std::string fresh;
        for (std::size_t begin = 0; begin < outcome.lines.size();) {
            const std::size_t end = std::min(outcome.lines.find('\n', begin), outcome.lines.size() - 1) + 1;
            const std::string line = outcome.lines.substr(begin, end - begin);
            if (said_.insert(std::hash<std::string>{}(line)).second) {
                fresh += line;
            }
            begin = end;
        }
        if (!fresh.empty()) {
            console_.relay(fresh);
        }
        if (!outcome.results.empty()) {
            console_.give(outcome.results);
        }
        const PlannedPhotograph& one = planned_[finished()];
        if (!outcome.finished.empty()) {
            const std::scoped_lock lock(recording_);
            records_.at(one.folder)->add(outcome.finished);
        }
        (outcome.state == State::done ? done_ : outcome.state == State::skipped ? skipped_ : failed_) += 1;
    }

    std::size_t finished() const {
        return done_ + skipped_ + failed_;
    }

    std::string counts() const {
        return fmt::format("{} done{}{}", done_, skipped_ > 0 ? fmt::format(", {} done before", skipped_) : "",
                           failed_ > 0 ? fmt::format(", {} failed", failed_) : "");
    }

    std::string withCount(const std::string& problem) const {
        return fmt::format("{}; of {} {}, --resume goes on from there", problem,
                           numberOf(planned_.size(), "photograph"), counts());
    }

    ExitStatus tellEnd(int signal) const {
        const bool whole = finished() == planned_.size();
        const std::string of = numberOf(planned_.size(), "photograph") + ": " + counts();
        if (!whole) {
            console_.tell(fmt::format("stopped by {}, {}; --resume does the others",
                                      signal == SIGINT ? "SIGINT" : "SIGTERM", of));
            return signal == SIGINT ? ExitStatus::interrupted : ExitStatus::terminated;
        }
        console_.tell(of);
        return failed_ == 0 ? ExitStatus::done : ExitStatus::outsideLimits;
    }

    const Console& console_;
    const PhotographInputs& inputs_;
    const PhotographOperation& operation_;
    std::vector<PlannedPhotograph> planned_;
    std::map<std::string, std::unique_ptr<FinishedResults>> records_;  ///< by folder
    mutable std::mutex recording_;                                     ///< held by a worker that records
    mutable std::atomic<bool> isWithoutRecord_{false};                 ///< whether a worker could not
    std::string parameters_;
    int threadsEach_ = 1;
    std::set<std::size_t> said_;  ///< hashes of lines
    std::size_t done_ = 0;
    std::size_t skipped_ = 0;
    std::size_t failed_ = 0;
};

void checkSingle(const PhotographInputs& inputs, const ImageOutput& output) {
    for (const char* const option : {"--name", "--recursive", "--jobs"}) {
        if (inputs.app->option(option)->count() > 0) {
            throw Refusal(std::string(option) + ": one photograph is given, and --output names its file");
        }
    }
    if (!inputs.format.empty() && output.path.empty()) {
        throw Refusal("--format: there is no --output");
    }
    if (!inputs.format.empty() && output.path != standardStream && imageFormatOf(output.path) == ImageFormat::unknown) {
        throw Refusal("--format: it is for folders and for standard output (-), and '" + output.path +
                      "' has no extension of a format");
    }
    if (!inputs.format.empty() && output.path != standardStream) {
        throw Refusal("--format: the extension of '" + output.path + "' gives the format; leave the option out");
    }
}

}  // namespace

ExitStatus onPhotographs(const Console& console, const PhotographInputs& inputs, const ImageOutput& output,
                         const PhotographOperation& operation) {
    if (asksForMany(inputs, output)) {
        if (operation.check) {
            operation.check();
        }
        std::vector<PlannedPhotograph> planned = plannedPhotographs(console, inputs, output, operation.files);
        if (inputs.inPlace) {
            checkOptionsInPlace(output, planned);
        }
        return Run(console, inputs, operation, std::move(planned)).run();
    }
    if (output.path.empty() && inputs.needsOutput) {
        throw Refusal("--output is required");
    }
    checkSingle(inputs, output);
    return output.path == standardStream ? toStandardOutput(console, inputs, output, operation)
                                         : operation.work(console, inputs.paths.front(), output);
}

}  // namespace likeness::darkroom
