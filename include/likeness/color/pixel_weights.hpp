/// @file
/// Which part of a photograph counts, and how much of each pixel: masks, regions, a weighting of the middle.
///
/// A weight is a multiple of 1/65535, from 0 (the pixel does not count) to 1 (it counts whole). Operations that take
/// weights give, where every weight is 0 or 1, the bits of a photograph that holds the counted pixels alone, row after
/// row; where all are 1, those of the photograph. Where there are others, sums of weights are exact whole numbers of
/// 1/65535, whatever the number of threads.
#pragma once

#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace likeness {

/// A length in a photograph.
struct RegionLength {
    double value = 0;      ///< in pixels, or in percent of the photograph's width or height
    bool percent = false;  ///< which of the two
};

/// A rectangle or an ellipse within a rectangle. A pixel lies in it if its centre does; that of the first pixel is at
/// 0.5, 0.5. Rectangles hold their left and upper edges, ellipses all of theirs.
struct PhotographRegion {
    /// The form of a region.
    enum class Shape {
        rectangle,  ///< all of it
        ellipse     ///< the ellipse that touches the four sides
    };

    Shape shape = Shape::rectangle;  ///< which
    RegionLength x;                  ///< of the left edge, from the photograph's; may be below 0
    RegionLength y;                  ///< of the upper edge, from the photograph's; may be below 0
    RegionLength width;              ///< above 0
    RegionLength height;             ///< above 0
};

/// Thrown where no pixel of a photograph counts.
class LIKENESS_API NothingCounts : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

/// How much each pixel of a photograph counts. Copies share their weights and are cheap; weights are never changed.
class LIKENESS_API PixelWeights {
public:
    /// The weight of a pixel that counts whole.
    static constexpr std::uint16_t whole = 65535;

    /// Every pixel counts, of a photograph of any size.
    PixelWeights() = default;

    /// Those of a mask: white counts, grey weighs, black does not count.
    /// @param mask  of the photograph's size; 8 or 16 bits, or float or double from 0 to 1, rounded to 1/65535; of one
    ///              channel, or of three that are equal
    /// @throws std::invalid_argument  if it is empty or of another type, if its channels differ, and for floats outside
    ///              0..1 and NaN
    static PixelWeights ofMask(const cv::Mat& mask);

    /// 1 in any of the regions, 0 elsewhere. What lies beyond the photograph is cut off.
    /// @param size     of the photograph, not empty
    /// @param regions  at least one
    /// @throws std::invalid_argument  if a region holds no pixel, has a width or height that is not above 0, or numbers
    ///                                that are not finite
    static PixelWeights ofRegions(const cv::Size& size, const std::vector<PhotographRegion>& regions);

    /// Those of a photograph whose middle counts most: exp(-(u^2 + v^2) / 2), u and v being the distances of a pixel's
    /// centre from the middle in quarters of the width and of the height. 1 in the middle, 0.14 at the middle of an edge,
    /// 0.018 in the corners.
    /// @param size  of the photograph, not empty
    static PixelWeights centered(const cv::Size& size);

    /// The products, rounded to 1/65535; what every pixel counts in changes nothing.
    /// @throws std::invalid_argument  if the sizes differ
    PixelWeights times(const PixelWeights& other) const;

    /// Whether every pixel counts whole.
    bool countAll() const noexcept { return weights_.empty() || sum_ == std::uint64_t{whole} * weights_.total(); }

    /// Whether every weight is 0 or 1.
    bool areBinary() const noexcept { return binary_; }

    /// Of the photograph; empty of weights for any size.
    cv::Size size() const noexcept { return weights_.size(); }

    /// CV_16UC1, 65535 being 1; not to be written to. Empty of weights for any size.
    const cv::Mat& map() const noexcept { return weights_; }

    /// Sum of the weights, in pixels; 0 of weights for any size.
    double pixels() const noexcept { return static_cast<double>(sum_) / whole; }

    /// How many pixels have a weight above 0; 0 of weights for any size.
    std::int64_t counted() const noexcept { return counted_; }

    /// How many pixels a photograph has that holds as much as counts: the nearest whole number to `pixels`, at least 1.
    std::int64_t wholePixels() const noexcept;

    /// Refuses a photograph that these weights are not of.
    /// @param name  of the photograph, for the text
    /// @throws std::invalid_argument  if its size is another
    /// @throws NothingCounts          if every weight is 0
    void require(const std::string& name, const cv::Mat& photograph) const;

    /// The pixels of an image that have a weight above 0, row by row.
    /// @param image  of the size of the weights, any type
    /// @return       1 x `counted`; may share the pixels of the image; the image itself where every pixel counts whole
    /// @throws std::invalid_argument  as `require`; if there are 2^31 pixels and more
    cv::Mat countedOf(const cv::Mat& image) const;

private:
    explicit PixelWeights(cv::Mat weights);

    cv::Mat weights_;
    std::uint64_t sum_ = 0;
    std::int64_t counted_ = 0;
    bool binary_ = true;
};

/// A photograph, and how much its pixels count.
struct PhotographPart {
    cv::Mat photograph;    ///< as the operation takes it
    PixelWeights weights;  ///< of its size, or of any
};

}  // namespace likeness
