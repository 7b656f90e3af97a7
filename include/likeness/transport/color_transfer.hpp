/// @file
/// Colour transfer between photographs as values: the palette of one on the other, by the optimal-transport map between
/// their colours in CIE L*a*b* (`transport/optimal_transport.hpp`).
///
/// Photographs are of any depth that `toUnit` takes, B, G, R; they are not modified. L*a*b* is the image library's own,
/// under D65: L* 0..100, a* and b* in their natural units. Results are B, G, R, CV_32FC3 on the scale 0..1; what becomes
/// of colours outside sRGB is left to the image library's conversion back.
#pragma once

#include <likeness/color/clipped_values.hpp>
#include <likeness/color/pixel_weights.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Which channels of CIE L*a*b* a transfer changes.
enum class TransferChannels {
    chroma,  ///< a* and b*; lightness stays
    all      ///< L*, a* and b*
};

/// Where the mean of the input is taken off.
enum class TransferForm {
    centered,  ///< before the map
    bonneel    ///< after it, so that the map moves the mean too; only the whole way and for `TransferChannels::chroma`
};

/// How `transferColors` carries colours over.
struct TransferOptions {
    double t = 1;  ///< how far to go, 0 (nowhere) to 1 (all the way to the palette)
    TransferChannels channels = TransferChannels::all;  ///< which channels change
    TransferForm form = TransferForm::centered;         ///< where the mean is taken off
};

/// An affine map of colours L*, a*, b*: matrix (x - inputMean) + targetMean, in Bonneel's form
/// matrix x - inputMean + targetMean. Of a transfer of chroma the first row and column are those of the identity and
/// the means of L* are 0.
struct ColorMap {
    cv::Matx33f matrix = cv::Matx33f::eye();  ///< in the order L*, a*, b*
    cv::Vec3f inputMean;                      ///< mean of the photograph
    cv::Vec3f targetMean;                     ///< mean that it is carried to
};

/// A photograph with other colours, and the map that gave them.
struct Transfer {
    cv::Mat image;                         ///< size of the photograph, CV_32FC3, B, G, R
    cv::Matx33f map = cv::Matx33f::eye();  ///< `ColorMap::matrix`
    cv::Vec3f inputMean;                   ///< `ColorMap::inputMean`
    cv::Vec3f targetMean;                  ///< `ColorMap::targetMean`
    ClippedValues clipped;                 ///< what `image` cannot hold of the map's colours (`clippedValuesOfLab`)
};

/// Everything that the pictures on the way from a photograph to a palette have in common. Copying it is cheap; one
/// object serves any number of threads.
class LIKENESS_API ColorTransfer {
public:
    /// @param options  `t` is not read
    /// @param watch    is told of the colours taken in and of their statistics; its receiver gets the lines of
    ///                 `applyOptimalTransport`
    /// @throws std::invalid_argument  for an empty photograph, another type, NaN or infinite values, and for Bonneel's
    ///                 form of all channels
    /// @throws Cancelled  when the caller ends it
    ColorTransfer(const cv::Mat& photograph, const cv::Mat& palette, const TransferOptions& options = {},
                  const Watch& watch = {});

    /// The same with the statistics of the parts that count; all of the photograph is moved. Where weights are 0 and 1
    /// they are those of the L*a*b* of the pixels that count, row after row, to the bit; where there are others, means,
    /// frequencies and covariances are weighted, their sums run in double, row by row, and nothing is printed.
    /// @throws std::invalid_argument  also for weights of another size
    /// @throws NothingCounts          if every weight of one is 0
    ColorTransfer(const PhotographPart& photograph, const PhotographPart& palette, const TransferOptions& options = {},
                  const Watch& watch = {});

    /// The photograph at a place of the way.
    /// @param t      0 to 1; of Bonneel's form 1
    /// @param watch  is told of the colours moved and of the picture; nothing for its receiver
    /// @throws std::invalid_argument  for another t
    /// @throws Cancelled  when the caller ends it
    cv::Mat apply(double t = 1, const Watch& watch = {}) const;

    /// The same with the map of that place and what was clipped.
    /// @param t      as of `apply`
    /// @param watch  is told of the colours moved, what was clipped and the picture; nothing for its receiver
    /// @throws std::invalid_argument  for another t
    /// @throws Cancelled  when the caller ends it
    Transfer at(double t = 1, const Watch& watch = {}) const;

    /// Another photograph, such as the next of a film, under the same map; empty of an empty one.
    /// @param photograph  as of the constructor
    /// @param t           as of `apply`
    /// @param watch  is told of the colours taken in, the colours moved and the picture; nothing for its receiver
    /// @throws std::invalid_argument  for another t or type, NaN or infinite values
    /// @throws Cancelled  when the caller ends it
    cv::Mat applyTo(const cv::Mat& photograph, double t = 1, const Watch& watch = {}) const;

    /// The map at a place of the way.
    ColorMap map(double t = 1) const;

private:
    struct Path {
        cv::Mat matrix;  ///< dims x dims
        cv::Vec3f inputMean;
        cv::Vec3f targetMean;
    };

    Path pathTo(double t) const;
    cv::Mat mappedLab(const cv::Mat& lab, double t) const;

    TransferForm form_;
    int dims_;
    cv::Mat lab_;
    cv::Mat inputCovariance_;  // none of them is ever written to
    cv::Mat targetCovariance_;
    cv::Mat matrix_;
    cv::Vec3f inputMean_;
    cv::Vec3f targetMean_;
};

/// Gives a photograph the colours of another one, `palette`, of any size.
///
/// @param watch  is told of the steps of the constructor of `ColorTransfer` and of `ColorTransfer::at`; its receiver gets
///               the lines of `applyOptimalTransport`
/// @return       the same bits as `applyOptimalTransport` (in Bonneel's form its map and means, and
///               `computeMapping2DBonneel`) between the image library's conversions; all empty of an empty photograph.
///               `map` and the means are those that were applied, of the place `t`.
/// @throws std::invalid_argument  for another type, NaN or infinite values, an empty palette, a t outside 0..1, and
///               Bonneel's form of all channels or of another t than 1
/// @throws Cancelled  when the caller ends it
LIKENESS_API Transfer transferColors(const cv::Mat& photograph, const cv::Mat& palette,
                                     const TransferOptions& options = {}, const Watch& watch = {});

}  // namespace likeness
