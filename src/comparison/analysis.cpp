#include <likeness/comparison/analysis.hpp>

#include "color/photograph_argument.hpp"
#include "comparison/modelled_appearance.hpp"
#include "comparison/photograph_counts.hpp"
#include "diagnostics/step_count.hpp"
#include "numerics/beside.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace likeness {

/// Made when a photograph needs them.
struct Comparer::Tables {
    ColorCounter& counter(std::size_t place) {
        std::unique_ptr<ColorCounter>& kept = counters[place];
        if (kept == nullptr) {
            kept = std::make_unique<ColorCounter>();
        }
        return *kept;
    }

    std::array<std::unique_ptr<ColorCounter>, 2> counters;
};

cv::Mat Analysis::ofPixels(const cv::Mat& kept) const {
    if (!hasMaps() && !size_.empty()) {
        throw std::logic_error("the analysis has no maps: AnalysisOptions::maps asks for them");
    }
    return indices_.empty() ? kept.clone() : expandColors(kept, indices_);
}

cv::Mat Analysis::map(cv::Mat AppearanceMaps::*correlate) const {
    return ofPixels(maps_.*correlate);
}

AppearanceMaps Analysis::maps() const {
    AppearanceMaps maps;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        maps[k] = ofPixels(maps_[k]);
    }
    maps.hueDegrees = ofPixels(maps_.hueDegrees);
    return maps;
}

Analysis analysisOf(const PhotographColors& colors, const cv::Size& size, const AnalysisOptions& options,
                    const std::function<void()>& stepDone) {
    checkComparisonModel(options.model);
    Analysis analysis;
    analysis.size_ = size;
    analysis.countedPixels_ = static_cast<double>(colors.pixels);
    analysis.backgroundLuminance_ = backgroundUnder(options.model, colors.pixels);
    analysis.model_ = options.model;
    ModelledAppearance seen = modelledAppearance(colors, options, stepDone);
    analysis.distributions_ = std::move(seen.distributions);
    return analysis;
}

Comparer::Comparer() : tables_(std::make_unique<Tables>()) {}
Comparer::~Comparer() = default;
Comparer::Comparer(Comparer&& other) noexcept = default;
Comparer& Comparer::operator=(Comparer&& other) noexcept = default;

Analysis Comparer::analyzed(const cv::Mat& photograph, const AnalysisOptions& options, const Diagnostics& diagnostics,
                            std::size_t place, const std::function<void()>& stepDone) {
    options.weights.require("photograph", photograph);
    if (options.order == ChannelOrder::rgb && !photograph.empty() && photograph.dims <= 2 &&
        photograph.channels() == 3) {
        if (photograph.type() != CV_8UC3 || options.maps || diagnostics.wantsFiles() || !options.weights.countAll()) {
            AnalysisOptions ofBgr = options;
            ofBgr.order = ChannelOrder::bgr;
            cv::Mat bgr(photograph.size(), photograph.type());
            const int fromTo[] = {0, 2, 1, 1, 2, 0};
            cv::mixChannels(&photograph, 1, &bgr, 1, fromTo, 3);
            return analyzed(bgr, ofBgr, diagnostics, place, stepDone);
        }
        ColorCounter& counter = tables_->counter(place);
        counter.begin(photograph.total());
        counter.add(photograph, ChannelOrder::rgb);
        DistinctColors counted = counter.finish();
        stepDone();
        const PhotographColors colors{std::move(counted.bgr), std::move(counted.counts),
                                      static_cast<std::int64_t>(photograph.total())};
        return analysisOf(colors, photograph.size(), options, stepDone);
    }
    if (!options.weights.countAll()) {
        return analyzedPart(photograph, options, place, stepDone);
    }
    Analysis analysis;
    analysis.size_ = photograph.size();
    analysis.countedPixels_ = static_cast<double>(photograph.total());
    analysis.backgroundLuminance_ =
        backgroundUnder(options.model, static_cast<std::int64_t>(photograph.rows) * photograph.cols);
    analysis.model_ = options.model;
    const bool ofBytes = photograph.empty() || photograph.type() == CV_8UC3;
    const bool needsPixels = options.maps || diagnostics.wantsFiles() || diagnostics.wantsMessages();
    if (!(options.model == ComparisonModel()) || options.hue || !(ofBytes || needsPixels)) {
        checkComparisonModel(options.model);
        ModelledAppearance seen = modelledAppearance(ofBytes ? photograph : unitPhotograph("photograph", photograph),
                                                     options, tables_->counter(place), stepDone);
        analysis.distributions_ = std::move(seen.distributions);
        analysis.maps_ = std::move(seen.maps);
        analysis.indices_ = seen.indices.clone();
        return analysis;
    }
    if (ofBytes && (photograph.empty() || !options.maps)) {
        analysis.distributions_ = appearanceDistributions(photograph.empty() ? cv::Mat() : photograph,
                                                          tables_->counter(place), diagnostics, stepDone);
        return analysis;
    }
    CountedAppearance counted =
        ofBytes ? countedAppearance(photograph, tables_->counter(place), diagnostics, stepDone)
                : countedAppearance(unitPhotograph("photograph", photograph), diagnostics, stepDone);
    analysis.distributions_ = std::move(counted.distributions);
    if (options.maps) {
        analysis.maps_ = std::move(counted.maps);
        analysis.indices_ = counted.indices.clone();
    }
    return analysis;
}

Analysis Comparer::analyzedPart(const cv::Mat& photograph, const AnalysisOptions& options, std::size_t place,
                                const std::function<void()>& stepDone) {
    checkComparisonModel(options.model);
    const cv::Mat whole = photograph.type() == CV_8UC3 ? photograph : unitPhotograph("photograph", photograph);
    ColorCounter& counter = tables_->counter(place);
    const PhotographColors colors = countedColors(whole, options.weights, counter);
    stepDone();
    Analysis analysis;
    analysis.size_ = photograph.size();
    analysis.countedPixels_ = options.weights.pixels();
    analysis.backgroundLuminance_ = backgroundUnder(options.model, colors.pixels);
    analysis.model_ = options.model;
    analysis.distributions_ = modelledAppearance(colors, {false, options.model, options.hue}, stepDone).distributions;
    if (options.maps) {
        cv::Mat indices;
        analysis.maps_ = mapsBesidePart(whole, colors, options.model, counter, indices);
        analysis.indices_ = indices.clone();
    }
    return analysis;
}

Analysis Comparer::analyze(const cv::Mat& photograph, const AnalysisOptions& options, const Watch& watch) {
    StepCount steps(watch, stepsOfAnalysis);
    return analyzed(photograph, options, watch.receiver(), 0, [&steps] { steps.step(); });
}

std::pair<Analysis, Analysis> Comparer::analyzePair(const cv::Mat& first, const cv::Mat& second,
                                                    const AnalysisOptions& options, const Watch& watch) {
    return analyzePair({first, options.weights}, {second, options.weights}, options, watch);
}

std::pair<Analysis, Analysis> Comparer::analyzePair(const PhotographPart& firstPart, const PhotographPart& secondPart,
                                                    const AnalysisOptions& options, const Watch& watch) {
    const cv::Mat& first = firstPart.photograph;
    const cv::Mat& second = secondPart.photograph;
    AnalysisOptions firstOptions = options;
    AnalysisOptions secondOptions = options;
    firstOptions.weights = firstPart.weights;
    secondOptions.weights = secondPart.weights;
    constexpr std::size_t worthAThread = 100'000;  // pixels, some milliseconds
    const Diagnostics& diagnostics = watch.receiver();
    StepCount steps(watch, 2 * stepsOfAnalysis);
    const auto stepDone = [&steps] { steps.step(); };
    if (diagnostics.wantsFiles() || first.total() < worthAThread || second.total() < worthAThread) {
        Analysis ofFirst = analyzed(first, firstOptions, diagnostics, 0, stepDone);
        return {std::move(ofFirst), analyzed(second, secondOptions, diagnostics, 0, stepDone)};
    }
    auto analyzing = beside([&] { return analyzed(second, secondOptions, diagnostics, 1, stepDone); });
    Analysis ofFirst = analyzed(first, firstOptions, diagnostics, 0, stepDone);
    return {std::move(ofFirst), analyzing.get()};
}

std::pair<Analysis, Analysis> analyzePair(const SeenPhotograph& first, const SeenPhotograph& second,
                                          const AnalysisOptions& options, const Watch& watch) {
    if (first.colors == nullptr && second.colors == nullptr) {
        return Comparer().analyzePair({first.image, first.weights}, {second.image, second.weights}, options, watch);
    }
    StepCount steps(watch, 2 * stepsOfAnalysis);
    const auto analyzed = [&](const SeenPhotograph& photograph) {
        const auto stepDone = [&steps] { steps.step(); };
        if (photograph.colors != nullptr) {
            stepDone();  // they are counted
            return analysisOf(*photograph.colors, photograph.size, options, stepDone);
        }
        ColorCounter counter;
        const PhotographColors colors = countedColors(photograph.image, counter);
        stepDone();
        return analysisOf(colors, photograph.image.size(), options, stepDone);
    };
    auto analyzing = beside([&] { return analyzed(second); });
    Analysis ofFirst = analyzed(first);
    return {std::move(ofFirst), analyzing.get()};
}

LikenessCoefficients Comparer::compare(const cv::Mat& first, const cv::Mat& second, const Watch& watch) {
    const auto [ofFirst, ofSecond] = analyzePair(first, second, {}, watch);
    return likeness::compare(ofFirst, ofSecond);
}

LikenessCoefficients Comparer::compare(const PhotographPart& first, const PhotographPart& second, const Watch& watch) {
    const auto [ofFirst, ofSecond] = analyzePair(first, second, {}, watch);
    return likeness::compare(ofFirst, ofSecond);
}

struct CountedPhotograph::Colors : PhotographColors {};

CountedPhotograph::CountedPhotograph(const cv::Mat& photograph, const PixelWeights& weights) {
    weights.require("photograph", photograph);
    const bool bytes = photograph.empty() || photograph.type() == CV_8UC3;
    ColorCounter counter;
    auto colors = std::make_shared<Colors>();
    const cv::Mat whole = bytes ? photograph : unitPhotograph("photograph", photograph);
    static_cast<PhotographColors&>(*colors) =
        weights.countAll() ? countedColors(whole, counter) : countedColors(whole, weights, counter);
    colors_ = std::move(colors);
}

AppearanceDistributions CountedPhotograph::distributions(const ComparisonModel& model,
                                                         const std::optional<HueWeights>& hue) const {
    checkComparisonModel(model);
    return modelledAppearance(*colors_, {false, model, hue}).distributions;
}

Analysis analyze(const cv::Mat& photograph, const AnalysisOptions& options, const Watch& watch) {
    return Comparer().analyze(photograph, options, watch);
}

LikenessCoefficients comparePhotographs(const PhotographPart& first, const PhotographPart& second) {
    return Comparer().compare(first, second);
}

LikenessCoefficients compare(const Analysis& first, const Analysis& second) {
    if (!first.size().empty() && !second.size().empty() && !(first.model() == second.model())) {
        throw std::invalid_argument("the two photographs were seen through different models or conditions");
    }
    return compareDistributions(first.distributions(), second.distributions());
}

}  // namespace likeness
