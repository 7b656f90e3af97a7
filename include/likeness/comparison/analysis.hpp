/// @file
/// Photographs analysed once and compared as often as is wanted.
#pragma once

#include <likeness/color/pixel_weights.hpp>
#include <likeness/comparison/channel_order.hpp>
#include <likeness/comparison/comparison_model.hpp>
#include <likeness/comparison/perceptual_metrics.hpp>
#include <likeness/comparison/photograph_comparison.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace likeness {

struct PhotographColors;

/// What `analyze` keeps.
struct AnalysisOptions {
    /// Whether the maps of the correlates are wanted too. They are made of the same count; they are kept by colour,
    /// with the colour of each pixel: 4 bytes per pixel and 24 per colour; 24 per pixel of a photograph of floats that
    /// has more colours than half its pixels.
    bool maps = false;
    /// The model that the photograph is seen through; by default the comparison's own.
    ComparisonModel model = {};
    /// Whether the distribution of the hue is wanted too, and what a pixel counts in it.
    std::optional<HueWeights> hue = {};
    /// Order of the photograph's channels. Bytes without maps are counted as they stand; others are put in order first,
    /// in memory of their own.
    ChannelOrder order = ChannelOrder::bgr;
    /// How much each pixel counts. Distributions are of what counts, and so are the white that the model finds in the
    /// photograph and the background that drifts with the number of pixels (`PixelWeights::wholePixels`): where weights
    /// are 0 and 1 the analysis is that of the pixels that count alone, to the bit. Maps stay whole: the other pixels
    /// are seen with the white and before the background of those that count, and may be lighter than 100. Unless
    /// every pixel counts whole there are no dumps.
    PixelWeights weights = {};
};

/// How a photograph looks: what `analyze` found. Copies share their maps and are cheap.
class LIKENESS_API Analysis {
public:
    /// That of an empty photograph.
    Analysis() = default;

    /// Distributions of the five correlates.
    const AppearanceDistributions& distributions() const noexcept { return distributions_; }

    /// Of the photograph, in pixels.
    cv::Size size() const noexcept { return size_; }

    /// How much of the photograph counted, in pixels: the sum of their weights.
    double countedPixels() const noexcept { return countedPixels_; }

    /// Luminance of the background that the photograph was seen before: `backgroundLuminanceOf`, or that of the model.
    float backgroundLuminance() const noexcept { return backgroundLuminance_; }

    /// The model that it was seen through.
    const ComparisonModel& model() const noexcept { return model_; }

    /// Whether there are maps: they were asked for, and the photograph is not empty.
    bool hasMaps() const noexcept { return !maps_.hueDegrees.empty(); }

    /// One correlate of each pixel: `analysis.map(&AppearanceMaps::chroma)`. The same bits as `appearanceMaps`.
    /// @return  CV_32FC1 of the photograph's size, in memory of its own; empty of an empty photograph
    /// @throws std::logic_error  where the maps were not asked for
    cv::Mat map(cv::Mat AppearanceMaps::*correlate) const;

    /// All six: 24 bytes per pixel.
    AppearanceMaps maps() const;

private:
    friend class Comparer;
    friend Analysis analysisOf(const PhotographColors& colors, const cv::Size& size, const AnalysisOptions& options,
                               const std::function<void()>& stepDone);

    /// A kept map, expanded.
    cv::Mat ofPixels(const cv::Mat& kept) const;

    AppearanceDistributions distributions_;
    cv::Size size_;
    double countedPixels_ = 0;
    float backgroundLuminance_ = 0;
    ComparisonModel model_;
    AppearanceMaps maps_;  // of the colours, or of the pixels where there are no indices
    cv::Mat indices_;
};

/// Analyses a photograph: the distributions of its appearance correlates, under the default model the same bits as
/// `appearanceDistributions`.
///
/// @param photograph  any depth that `toUnit` takes, B, G, R unless `options.order` says otherwise, fewer than 2^31
///                    pixels; not modified. Floats
///                    outside 0..1 are taken as they are
/// @param watch       its receiver gets the dumps of `perceptualMetrics`, under the default model alone; four steps: the
///                    colours counted, adapted or their white found, their correlates and the distributions made
/// @throws std::invalid_argument  if the photograph is of another type, or the weights are of another size; what is
///                    wrong with the model's conditions (comparison_model.hpp)
/// @throws NothingCounts  if every weight is 0
/// @throws Cancelled  when the caller ends it
/// @note  Who analyses many photographs keeps a `Comparer`.
LIKENESS_API Analysis analyze(const cv::Mat& photograph, const AnalysisOptions& options = {}, const Watch& watch = {});

/// The five coefficients of two photographs.
/// @throws std::invalid_argument  if they were seen through different models, unless one of them is empty
LIKENESS_API LikenessCoefficients compare(const Analysis& first, const Analysis& second);

/// The five coefficients of parts of two photographs.
/// @throws std::invalid_argument, NothingCounts  as `analyze`
LIKENESS_API LikenessCoefficients comparePhotographs(const PhotographPart& first, const PhotographPart& second);

/// Analyses and compares one photograph after the other and keeps its tables between them (16 MiB for each of two
/// photographs, and 64 MiB of address space where maps are wanted): small photographs take microseconds. One thread at
/// a time.
class LIKENESS_API Comparer {
public:
    Comparer();
    ~Comparer();
    /// Takes the tables of another, which is then only to be destroyed or assigned to.
    Comparer(Comparer&& other) noexcept;
    /// As above.
    Comparer& operator=(Comparer&& other) noexcept;

    /// `likeness::analyze`.
    Analysis analyze(const cv::Mat& photograph, const AnalysisOptions& options = {}, const Watch& watch = {});

    /// Analyses two photographs, with the same results as one after the other. Large ones are analysed at the same
    /// time, on two threads, where no dumps are wanted; otherwise the dumps of the second replace those of the first.
    /// @param watch  told of the four steps of each; a second thread may be the one that calls `progress`
    std::pair<Analysis, Analysis> analyzePair(const cv::Mat& first, const cv::Mat& second,
                                              const AnalysisOptions& options = {}, const Watch& watch = {});

    /// The same of parts of two photographs.
    /// @param options  without weights
    std::pair<Analysis, Analysis> analyzePair(const PhotographPart& first, const PhotographPart& second,
                                              const AnalysisOptions& options = {}, const Watch& watch = {});

    /// The five coefficients of two photographs, the same bits as `comparePhotographs`, by way of `analyzePair`.
    /// @param watch  as there
    LikenessCoefficients compare(const cv::Mat& first, const cv::Mat& second, const Watch& watch = {});

    /// The same of parts of two photographs.
    LikenessCoefficients compare(const PhotographPart& first, const PhotographPart& second, const Watch& watch = {});

private:
    struct Tables;
    Analysis analyzed(const cv::Mat& photograph, const AnalysisOptions& options, const Diagnostics& diagnostics,
                      std::size_t place, const std::function<void()>& stepDone);
    Analysis analyzedPart(const cv::Mat& photograph, const AnalysisOptions& options, std::size_t place,
                          const std::function<void()>& stepDone);

    std::unique_ptr<Tables> tables_;
};

/// A photograph whose colours are counted once, to be seen through one model after the other. Copies are cheap, and
/// threads may share it.
class LIKENESS_API CountedPhotograph {
public:
    /// @param photograph  as for `analyze`; one of floats may be kept, not copied: it must not be changed then
    /// @param weights     how much each pixel counts
    /// @throws std::invalid_argument  if it is of another type, or the weights of another size
    /// @throws NothingCounts  if every weight is 0
    explicit CountedPhotograph(const cv::Mat& photograph, const PixelWeights& weights = {});

    /// The distributions of `analyze`, the same bits; maps are not made.
    /// @throws std::invalid_argument  as `analyze`
    AppearanceDistributions distributions(const ComparisonModel& model,
                                          const std::optional<HueWeights>& hue = {}) const;

private:
    struct Colors;
    std::shared_ptr<const Colors> colors_;
};

}  // namespace likeness
