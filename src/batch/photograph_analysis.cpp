#include "batch/photograph_analysis.hpp"

#include "photofile/decoder_remarks.hpp"

#include <opencv2/imgcodecs.hpp>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace likeness {
namespace {

constexpr const char* noImage = " as an image";

/// @return  why the file cannot be opened, or nothing
std::string openingProblem(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return std::string(": ") + std::strerror(errno);
    }
    struct ::stat status {};
    const bool regular = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    ::close(descriptor);
    return regular ? std::string() : noImage;
}

void analyse(const std::string& path, ColorCounter& counter, PhotographAnalysis& analysis) {
    analysis.problem = openingProblem(path);
    if (!analysis.problem.empty()) {
        return;
    }
    cv::Mat photograph;
    {
        const RemarkCollector collector;
        try {
            photograph = cv::imread(path, cv::IMREAD_COLOR);
        } catch (const cv::Exception&) {
            photograph.release();
        }
        analysis.remarks = collector.lines();
    }
    if (photograph.empty()) {
        analysis.problem = noImage;
        return;
    }
    analysis.distributions = appearanceDistributions(photograph, counter);
    analysis.facts.width = photograph.cols;
    analysis.facts.height = photograph.rows;
    const CorrelateShares& shares = analysis.distributions.nanShares;
    analysis.facts.nanShares = {shares.brightness, shares.lightness, shares.chroma, shares.colorfulness,
                                shares.saturation};
}

void append(std::string& text, const std::string& more) {
    text += (text.empty() ? "" : "; ") + more;
}

}  // namespace

PhotographAnalysis analysePhotograph(const std::string& path, ColorCounter& counter) {
    PhotographAnalysis analysis;
    try {
        analyse(path, counter, analysis);
    } catch (const std::bad_alloc&) {
        analysis = {};
        analysis.problem = ": Cannot allocate memory";
    } catch (const cv::Exception&) {  // so the image library tells of the same
        analysis = {};
        analysis.problem = ": Cannot allocate memory";
    }
    return analysis;
}

PairOutcome compareAnalyses(const std::string& firstPath, const PhotographAnalysis& first,
                            const std::string& secondPath, const PhotographAnalysis& second) {
    PairOutcome outcome;
    const bool same = firstPath == secondPath;
    for (const auto& [path, analysis] : {std::pair(&firstPath, &first), std::pair(&secondPath, &second)}) {
        if (path == &secondPath && same) {
            break;
        }
        if (!analysis->problem.empty()) {
            append(outcome.error, "cannot read '" + *path + "'" + analysis->problem);
        }
        for (const std::string& remark : analysis->remarks) {
            append(outcome.remarks, "'" + *path + "': " + remark);
        }
    }
    outcome.first = first.facts;
    outcome.second = second.facts;
    if (outcome.compared()) {
        const LikenessCoefficients coefficients = compareDistributions(first.distributions, second.distributions);
        outcome.coefficients = {coefficients.brightness, coefficients.lightness, coefficients.chroma,
                                coefficients.colorfulness, coefficients.saturation};
    }
    return outcome;
}

}  // namespace likeness
