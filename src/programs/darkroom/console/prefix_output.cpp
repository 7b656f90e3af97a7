#include "console/prefix_output.hpp"

#include "console/option_checks.hpp"
#include "console/output_check.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace likeness::darkroom {
namespace {

namespace fs = std::filesystem;

/// More than once, because the operation may be writing a file at the same time.
void removeWhole(const std::string& folder) {
    std::error_code error;
    for (int attempt = 0; attempt < 3 && fs::exists(folder, error); ++attempt) {
        fs::remove_all(folder, error);
    }
}

}  // namespace

std::vector<PrefixedResult> mergedResults() {
    return {{".hdr", "radiance, relative, not scaled"},
            {".jpg", "tone-mapped, 8 bits, 0..255 stands for 0..1"},
            {"fusion.jpg", "fused, 8 bits, 0..255 stands for 0..1"}};
}

CLI::Option* addPrefixOutput(CLI::App& app, std::string& prefix, const std::string& endings) {
    return app
        .add_option("-o,--output", prefix,
                    optionText("Stem of the results' names, with an existing folder in front if wanted: " + endings,
                               "--output results/run"))
        ->type_name("PREFIX");
}

void checkPrefixOutput(const std::string& prefix, const std::vector<PrefixedResult>& results,
                       const std::vector<std::string>& inputs) {
    if (fs::path(prefix).filename().empty()) {
        throw Refusal("--output: '" + prefix + "' is no stem of a file name");
    }
    for (const PrefixedResult& result : results) {
        checkOutputFile("--output", prefix + result.ending);
        checkNotAnInput(prefix + result.ending, inputs);
    }
}

StagedResults::StagedResults(std::string prefix) : prefix_(std::move(prefix)) {
    const fs::path path(prefix_);
    std::error_code error;
    // Absolute, so that it is found again wherever the working directory may be by then.
    folder_ = (fs::absolute(path, error).parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
    if (::mkdtemp(folder_.data()) == nullptr) {
        throw Refusal("cannot write beside '" + prefix_ + "': " + std::strerror(errno));
    }
    stagedPrefix_ = folder_ + '/' + path.filename().string();
    onInterrupt_.emplace([folder = folder_] { removeWhole(folder); });
}

StagedResults::~StagedResults() {
    onInterrupt_.reset();
    removeWhole(folder_);
}

void StagedResults::publish(const Session& session, const std::vector<PrefixedResult>& results) const {
    for (const PrefixedResult& result : results) {
        std::error_code error;
        if (!fs::is_regular_file(stagedPrefix_ + result.ending, error)) {
            throw Refusal("cannot write '" + prefix_ + result.ending + "'");
        }
    }
    for (const PrefixedResult& result : results) {
        std::ifstream file(stagedPrefix_ + result.ending, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        replaceFile(prefix_ + result.ending, bytes);
        session.tell("wrote '" + prefix_ + result.ending + "': " + result.what);
    }
}

std::string StagedResults::withUsersPrefix(std::string_view message) const {
    std::string text(message);
    for (std::size_t at = 0; (at = text.find(stagedPrefix_, at)) != std::string::npos; at += prefix_.size()) {
        text.replace(at, stagedPrefix_.size(), prefix_);
    }
    return text;
}

}  // namespace likeness::darkroom
