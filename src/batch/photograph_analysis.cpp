#include "batch/photograph_analysis.hpp"

#include "batch/comparison_remarks.hpp"
#include "batch/reading_faults.hpp"
#include "comparison/counted_rows.hpp"
#include "comparison/modelled_appearance.hpp"
#include "files/refusal.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/photograph_reader.hpp"

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

namespace likeness {
namespace {

void analyze(const std::string& path, AnalysisTables& tables, std::uint64_t mostPixels, const AnalysisOptions& options,
             const ProfileChoice& profiles, const StepDone& stepDone, PhotographAnalysis& analysis) {
    ManagedColors colors(profiles);
    CountedRows rows(tables.counter, !dependsOnOrder(options));
    PhotographRead photograph =
        readPhotographAmongOthers(path, PhotographValues::bytesOrFloats, mostPixels, &colors,
                                  std::exchange(tables.photograph, {}), profiles.part.isWhole() ? &rows : nullptr);
    colors.settle(photograph.remarks);
    analysis.problem = photograph.problem;
    analysis.remarks = std::move(photograph.remarks);
    if (!analysis.problem.empty()) {
        return;
    }
    stepDone();
    analysis.profile = colors.use().description;
    analysis.profileRemark = colors.use().remark();
    for (std::string remark : {colors.use().warning(), colors.use().remark()}) {
        if (!remark.empty()) {
            analysis.remarks.push_back(std::move(remark));
        }
    }
    AnalysisOptions ofPart = options;
    try {
        ofPart.weights =
            countedPart(path, photograph.bgr, profiles.part, profiles.selection, mostPixels, analysis.remarks);
    } catch (const Refusal& refusal) {
        analysis.problem = std::string(": the part of it that counts: ") + refusal.what();
        return;
    }
    analysis.countedPixels = ofPart.weights.countAll() ? 0 : ofPart.weights.wholePixels();
    if (!ofPart.weights.countAll()) {
        try {
            analysis.distributions = likeness::analyze(photograph.bgr, ofPart).distributions();
        } catch (const std::invalid_argument& problem) {
            analysis.problem = pictureProblem(problem.what(), options.model);
            return;
        }
    } else {
        try {
            const PhotographColors seen = photograph.rowsOf.empty() ? countedColors(photograph.bgr, tables.counter)
                                                                    : rows.colors(photograph.rowsOf);
            analysis.distributions = modelledAppearance(seen, options, stepDone).distributions;
        } catch (const std::invalid_argument& problem) {
            analysis.problem = pictureProblem(problem.what(), options.model);
            return;
        }
    }
    analysis.facts.width = photograph.size().width;
    analysis.facts.height = photograph.size().height;
    if (!photograph.bgr.empty() &&
        photograph.bgr.type() == CV_8UC3) {  // floats are of no use to the next file, and large
        tables.photograph = std::move(photograph.bgr);
    }
    analysis.problem = appearanceProblem(analysis.distributions);
    if (std::string black = blackRemark(analysis.distributions); !black.empty()) {
        analysis.remarks.push_back(std::move(black));
    }
    const CorrelateShares& shares = analysis.distributions.nanShares;
    analysis.facts.nanShares = {shares.brightness, shares.lightness, shares.chroma, shares.colorfulness,
                                shares.saturation};
}

/// Ends the batch: the photographs that follow would fare no better, and a later run may read this one.
MemoryShortage outOfMemory(const std::string& path) {
    return MemoryShortage("cannot analyse '" + path + "': " + std::strerror(ENOMEM) +
                          "; fewer --jobs take less, a lower --max-pixels refuses large images");
}

void append(std::string& text, const std::string& more) {
    text += (text.empty() ? "" : "; ") + more;
}

}  // namespace

PhotographAnalysis analyzePhotograph(const std::string& path, AnalysisTables& tables, std::uint64_t mostPixels,
                                     const AnalysisOptions& options, const ProfileChoice& profiles,
                                     const StepDone& stepDone) {
    PhotographAnalysis analysis;
    const std::optional<FileStamp> before = stampOf(path);
    try {
        actOnReadingFault(path);
        analyze(path, tables, mostPixels, options, profiles, stepDone, analysis);
    } catch (const MachineFailure& failure) {
        if (failure.errorNumber() == ENOMEM) {
            throw MemoryShortage(failure.what());
        }
        throw Refusal(failure.what());
    } catch (const std::bad_alloc&) {
        throw outOfMemory(path);
    } catch (const cv::Exception& error) {
        if (error.code == cv::Error::StsNoMem) {  // OpenCV reports failed allocations this way
            throw outOfMemory(path);
        }
        throw;
    }
    analysis.facts.stamp = stampOf(path);
    if (analysis.facts.stamp != before && analysis.problem.empty()) {
        analysis.problem = ": it changed while it was read";
        analysis.distributions = {};
        analysis.facts = {0, 0, {}, analysis.facts.stamp, {}};
    }
    return analysis;
}

ProfileChoice withMask(ProfileChoice profiles, const std::string& mask) {
    if (!mask.empty()) {
        profiles.part.mask = mask;
    }
    return profiles;
}

PairOutcome compareAnalyses(const std::string& firstPath, const PhotographAnalysis& first,
                            const std::string& secondPath, const PhotographAnalysis& second,
                            const AnalysisOptions& options) {
    PairOutcome outcome;
    // A photograph may stand there with another mask.
    const bool same = firstPath == secondPath && first.problem == second.problem && first.remarks == second.remarks;
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
        const auto pixelsOf = [](const PhotographAnalysis& analysis) {
            return analysis.countedPixels != 0 ? analysis.countedPixels
                                               : std::int64_t{analysis.facts.width} * analysis.facts.height;
        };
        const std::string backgrounds = first.countedPixels < 0 || second.countedPixels < 0
                                            ? std::string()
                                            : backgroundRemark(pixelsOf(first), pixelsOf(second));
        const bool drifts = options.model.kind == AppearanceModelKind::likeness && !options.model.background;
        if (drifts && !backgrounds.empty()) {
            append(outcome.remarks, backgrounds);
        }
        const LikenessCoefficients coefficients = compareDistributions(first.distributions, second.distributions);
        outcome.coefficients = {coefficients.brightness, coefficients.lightness, coefficients.chroma,
                                coefficients.colorfulness, coefficients.saturation};
        outcome.hue = hueCoefficient(first.distributions, second.distributions);
    }
    return outcome;
}

}  // namespace likeness
