/// @file
/// Edge-preserving smoothing that is steered by a guide image: He, Sun, Tang, "Guided image filtering", IEEE TPAMI
/// 35(6), 2013.
///
/// In every square window the input p is modelled as a linear function of the guide I, p = a I + b; the coefficients of
/// all windows that cover a pixel are averaged and applied to the guide's value there. A guide of one channel is taken
/// as it is; a guide of three channels gives three coefficients per window, from the 3 x 3 covariance of its channels.
///
/// Guides and inputs may have any depth. A guide of CV_32F or CV_64F is used in its own depth, any other is converted to
/// CV_32F without scaling: bytes keep their values 0..255. All arithmetic is done in the depth of the stored guide,
/// operation by operation on whole planes, rounded after each. A plane divided by a plane gives 0 where the divisor is
/// 0. Windows reach over the border into the mirror image (edge pixel not repeated). A single-channel input of the
/// guide's depth that is a view into a larger image is not copied: its windows reach into that image, as OpenCV's do.
/// NaN and infinite values spread over the rows and columns that a running sum carries them along.
///
/// An input whose size differs from the guide's, or whose depth cannot be converted, raises a cv::Exception.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace likeness {

class PlaneBlock;

/// What the variants for the two kinds of guide share. Immutable after construction: one object may filter any number
/// of inputs, from several threads.
class LIKENESS_API GuidedFilterImpl {
public:
    virtual ~GuidedFilterImpl() = default;
    GuidedFilterImpl(const GuidedFilterImpl&) = delete;
    GuidedFilterImpl& operator=(const GuidedFilterImpl&) = delete;

    /// Filters one plane that has the guide's size and its stored depth.
    virtual cv::Mat filterSingleChannel(const cv::Mat& p,
                                        const Diagnostics& diagnostics = workingDirectory()) const = 0;

    /// Filters three channels jointly, by carrying the guide's local colour distribution into that of `p`. Reached only
    /// by calling it: `filter` goes plane by plane.
    virtual cv::Mat filterColorChannelsMK(const cv::Mat& p) const = 0;

    /// Filters `p` plane by plane.
    ///
    /// @param p      the guide's size, any number of channels, any depth; not modified
    /// @param depth  depth of the result, or -1 for that of `p`; integer depths are rounded and saturated
    /// @param diagnostics  receives what `filterSingleChannel` writes, for each plane in turn under the same names
    /// @return       size and channels of `p`
    cv::Mat filter(const cv::Mat& p, int depth, const Diagnostics& diagnostics = workingDirectory()) const;

protected:
    /// @param depthOfStoredGuide  CV_32F or CV_64F
    explicit GuidedFilterImpl(int depthOfStoredGuide) : guideDepth(depthOfStoredGuide) {}

private:
    int guideDepth;  // CV_32F or CV_64F
};

/// Guide of one channel. Writes nothing.
class LIKENESS_API GuidedFilterMono final : public GuidedFilterImpl {
public:
    /// @param guide       one channel; copied. Another number raises std::invalid_argument
    /// @param windowSide  pixels along a side of the window
    /// @param regularizer added to the guide's variance: structure whose variance is well below it is smoothed away,
    ///                    structure well above it is kept. In squared units of the guide.
    GuidedFilterMono(const cv::Mat& guide, int windowSide, double regularizer);

    cv::Mat filterSingleChannel(const cv::Mat& p, const Diagnostics& diagnostics = workingDirectory()) const override;

    /// An image of p's size, CV_32FC3, with undefined content: one channel has no colour distribution to carry over.
    cv::Mat filterColorChannelsMK(const cv::Mat& p) const override;

private:
    int windowSize;
    double eps;
    cv::Mat I;
    cv::Mat meanI;
    cv::Mat varI;
    std::shared_ptr<const PlaneBlock> memory_;  // of the three planes
};

/// Guide of three channels, in any order; the letters R, G, B in file names stand for channels 0, 1, 2.
///
/// The covariance of the guide is inverted as it is: `regularizer` has no effect in this variant. Windows in which the
/// guide is flat, or its channels depend on each other linearly, have a determinant of 0 and then coefficients of 0.
class LIKENESS_API GuidedFilterColor final : public GuidedFilterImpl {
public:
    /// @param guide        three channels; copied. Another number raises std::invalid_argument
    /// @param windowSide   pixels along a side of the window
    /// @param regularizer  kept, used nowhere
    /// @param diagnostics  receives the window means of the guide's channels, values as they are: "0R.jpg", "0G.jpg",
    ///                     "0B.jpg"
    GuidedFilterColor(const cv::Mat& guide, int windowSide, double regularizer,
                      const Diagnostics& diagnostics = workingDirectory());

    /// Writes "cov_a_r.jpg" (covariance of the guide's channel 0 with `p`), the coefficients times 255 as "a_r.jpg",
    /// "a_g.jpg", "a_b.jpg", and the intercept as "b.jpg".
    cv::Mat filterSingleChannel(const cv::Mat& p, const Diagnostics& diagnostics = workingDirectory()) const override;

    /// Filters three channels jointly: in each window, the map of `closedFormMatrix` from the guide's covariance to
    /// that of `p` carries the guide's deviation from its mean, and the mean of `p` is added. Writes nothing.
    ///
    /// Guide variances below 7.5 count as 7.5, so that values 0..255 are the range to use; in 0..1 every window is
    /// below it and the guide's contrast all but vanishes. Where the guide's channels depend on each other within a
    /// window, the map can become huge; it is used as it is. Channel 1 of the result takes the map's element (0, 2) in
    /// the place of (0, 1), departure 12.
    ///
    /// @param p  CV_32FC3 of the guide's size; the guide must be stored as CV_32F. Otherwise a cv::Exception is raised
    /// @return   CV_32FC3; NaN where a covariance is NaN or infinite
    cv::Mat filterColorChannelsMK(const cv::Mat& p) const override;

private:
    template <typename T>
    void invertCovariance();
    template <typename T>
    void solveForCoefficients(cv::Mat (&meanIp)[3], cv::Mat& meanP) const;

    std::vector<cv::Mat> Ichannels;
    int windowSize;
    double eps;
    cv::Mat meanI0, meanI1, meanI2;
    cv::Mat invCov00, invCov01, invCov02, invCov11, invCov12, invCov22;
    cv::Mat cov00, cov01, cov02, cov11, cov12, cov22;
    std::shared_ptr<const PlaneBlock> memory_;  // of the eighteen planes
};

/// A guided filter for whichever guide it is given. What depends on the guide alone is computed once, here.
class LIKENESS_API GuidedFilter {
public:
    /// @param I    guide of one or three channels; otherwise a cv::Exception of code -215 (assertion failed) is raised
    ///             before anything is allocated
    /// @param r    radius: windows have 2 r + 1 pixels along a side
    /// @param eps  regulariser of the one-channel variant
    /// @param diagnostics  receives what the variant's constructor writes
    GuidedFilter(const cv::Mat& I, int r, double eps, const Diagnostics& diagnostics = workingDirectory());

    /// @copydoc GuidedFilterImpl::filter
    cv::Mat filter(const cv::Mat& p, int depth, const Diagnostics& diagnostics = workingDirectory()) const;

private:
    std::unique_ptr<const GuidedFilterImpl> variant_;
};

/// `GuidedFilter(I, r, eps).filter(p, depth)`. With a guide of three channels the eight images of `GuidedFilterColor`
/// are written; with one channel none.
LIKENESS_API cv::Mat guidedFilter(const cv::Mat& I, const cv::Mat& p, int r, double eps, int depth,
                                  const Diagnostics& diagnostics = workingDirectory());

}  // namespace likeness
