/// @file
/// A photograph laid onto another of the same scene along their optical flow. Images are CV_32FC3, B, G, R, on the scale
/// 0..1; the flow is CV_32FC2 in pixels, x to the right and y down.
#pragma once

#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Lays one photograph onto another of the same scene along their dense optical flow (Farnebäck, "Two-frame motion
/// estimation based on polynomial expansion", SCIA 2003), found between the two grey images.
///
/// Parameters of the flow: pyramid of 9 levels of half the size, box window of 15, 3 iterations, a neighbourhood of 5
/// pixels. The neighbourhood's sigma is 0.2, far below the 1.1 that usually goes with it: next to nothing but the pixel
/// itself counts, which follows fine fields of a few pixels more closely. docs/optical_flow_alignment.md has figures.
///
/// @param moving     CV_32FC3, B, G, R, in [0, 1]: the photograph that is laid onto the other. Multiplied by 255 and
///                   divided by it again in place, so it ends with its values up to float rounding; it must not share
///                   its pixels with the others.
/// @param reference  CV_32FC3 of the same size: the photograph whose geometry is wanted; scaled and unscaled likewise
/// @param out        CV_32FC3 of the same size, allocated here where need be: for each pixel of the reference the pixel
///                   of `moving` that is nearest to where the flow finds it; 0 in all channels where that lies outside
/// @throws std::invalid_argument  where sizes differ, an image is empty or a type is another one; both are then as they were
LIKENESS_API void calculateOpticalFlow(cv::Mat& moving, cv::Mat& reference, cv::Mat& out);

/// Does what `calculateOpticalFlow` does, and hands the flow over.
///
/// @param flow  replaced by a CV_32FC2 of the images' size: for each pixel of the reference the displacement (dx, dy)
///              in pixels, x to the right and y down, from it to where it is found in `moving`
LIKENESS_API void alignAlongOpticalFlow(cv::Mat& moving, cv::Mat& reference, cv::Mat& out, cv::Mat& flow);

/// Parameters of the flow; the defaults are those of `calculateOpticalFlow`.
struct AlignOptions {
    int levels = 9;      ///< levels of the pyramid, each half the size of the one below; 1 to 30
    int window = 15;     ///< side of the window that the flow is averaged over, in pixels; 1 to 999
    int iterations = 3;  ///< of each level; 1 to 100
    double neighborhoodSigma =
        0.2;  ///< of a neighbourhood of 5 pixels, in pixels; above 0 and up to 100; 1.1 is usual,
              ///< 0.2 is departure 17
};

/// A photograph laid onto another, and the flow that it followed.
struct Alignment {
    cv::Mat image;  ///< CV_32FC3, B, G, R: for each pixel of the reference the nearest of the moving photograph; else 0
    cv::Mat flow;   ///< CV_32FC2: where it was found, (dx, dy) in pixels, x to the right and y down
};

/// Lays one photograph onto another of the same scene, as `alignAlongOpticalFlow` does.
///
/// @param moving, reference  rows x cols of the same size, any depth that `toUnit` takes, B, G, R; not modified
/// @param watch   is told of the flow and of the image
/// @return        the same bits as `alignAlongOpticalFlow`, on the scale 0..1; all empty of an empty `moving`
/// @throws std::invalid_argument  for another type, other sizes, NaN or infinite values, an option out of its range
/// @throws Cancelled  when the caller ends it
LIKENESS_API Alignment alignTo(const cv::Mat& moving, const cv::Mat& reference, const AlignOptions& options = {},
                               const Watch& watch = {});

}  // namespace likeness
