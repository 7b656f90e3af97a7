#include "console/prefix_output.hpp"

#include <likeness/color/clipped_values.hpp>
#include "codecs/image_codecs.hpp"
#include "console/option_checks.hpp"
#include "diagnostics/output_file.hpp"
#include "files/refusal.hpp"
#include "files/replaced_file.hpp"
#include "files/standard_input.hpp"
#include "photofile/clipping.hpp"

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

/// Pictures are clipped to 8 bits when they are written, and only the file tells.
void tellLimits(const Console& console, const std::string& path, const std::string& bytes) {
    if (console.quiet() || fs::path(path).extension() != ".jpg") {
        return;
    }
    const cv::Mat picture = decodedBytes({bytes.begin(), bytes.end()}, cv::IMREAD_COLOR);
    if (!picture.empty()) {
        tellClipped(console, path, valuesAtLimits(picture), picture.size(),
                    "stand at the ends of 0..255, where it is clipped");
    }
}

}  // namespace

std::vector<PrefixedResult> mergedResults() {
    return {{".hdr", "radiance, relative, not scaled"},
            {".jpg", "tone-mapped, 8 bits, 0..255 stands for 0..1"},
            {"fusion.jpg", "fused, 8 bits, 0..255 stands for 0..1"}};
}

Option* addPrefixOutput(OptionParser& app, std::string& prefix, const std::string& endings) {
    return app
        .addOption("-o,--output", prefix,
                   optionText("Stem of the results' names, with an existing folder in front if wanted: " + endings,
                              "--output results/run"))
        ->typeName("PREFIX");
}

void checkPrefixOutput(const std::string& prefix, const std::vector<PrefixedResult>& results, OutputPlan& plan) {
    if (prefix == standardStream) {
        throw Refusal("--output: several files come of it, and standard output takes one; give a stem of their names");
    }
    if (fs::path(prefix).filename().empty()) {
        throw Refusal("--output: '" + prefix + "' is no stem of a file name");
    }
    for (const PrefixedResult& result : results) {
        plan.file("--output", prefix + result.ending);
    }
}

StagedResults::StagedResults(std::string prefix) : prefix_(std::move(prefix)) {
    const fs::path path(prefix_);
    std::error_code error;
    // Absolute, so that it is found again wherever the working directory may be by then.
    folder_ = (fs::absolute(path, error).parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
    {
        const HeldInterruptions noSignal;
        if (::mkdtemp(folder_.data()) == nullptr) {
            throw Refusal("cannot write beside '" + prefix_ + "': " + std::strerror(errno));
        }
        onInterrupt_.emplace(folder_);
    }
    stagedPrefix_ = folder_ + '/' + path.filename().string();
}

StagedResults::~StagedResults() {
    removeWhole(folder_);
}

void StagedResults::write(const std::string& ending, const cv::Mat& picture) const {
    std::vector<uchar> bytes;
    encodeImage(ending.substr(ending.rfind('.')), picture, bytes);
    const std::string path = stagedPrefix_ + ending;
    OutputFile file(path);
    file.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    if (!file.close()) {
        std::error_code ignored;
        fs::remove(path, ignored);
    }
}

void StagedResults::writePicture(const std::string& ending, const cv::Mat& picture) const {
    cv::Mat bytes;
    picture.convertTo(bytes, CV_8U, 255);
    write(ending, bytes);
}

void StagedResults::writeMerged(const cv::Mat& radiance, const cv::Mat& toneMapped, const cv::Mat& fused) const {
    write(".hdr", radiance);
    write(".jpg", toneMapped * 255);
    write("fusion.jpg", fused * 255);
}

void StagedResults::publish(const Console& console, const std::vector<PrefixedResult>& results) const {
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
        console.tell("wrote '" + prefix_ + result.ending + "': " + result.what);
        tellLimits(console, prefix_ + result.ending, bytes);
    }
}

}  // namespace likeness::darkroom
