/// @file
/// How strongly the structure around each pixel is oriented: CV_32F maps of a three-channel image's size.
#pragma once

#include <likeness/diagnostics/diagnostics.hpp>
#include <likeness/diagnostics/watch.hpp>
#include <likeness/export.hpp>

#include <opencv2/core.hpp>

namespace likeness {

/// Measures at every pixel how strongly the structure around it is oriented: the smoothed structure tensor of a colour
/// image, the gradients' outer products summed over the three channels (Di Zenzo, "A note on the gradient of a
/// multi-image", Computer Vision, Graphics, and Image Processing 33, 1986).
///
/// With l1 >= l2 the eigenvalues of the tensor, the strength is (exp(-1e10 / (l1 - l2)^2) + 1) / 2 (after Weickert,
/// "Coherence-enhancing diffusion filtering", IJCV 31, 1999): exactly 0.5 without orientation, towards 1 along strong
/// straight edges. The constant 1e10 assumes values in 0..255; on scales of 0..20 and below every strength is 0.5.
///
/// @param image  CV_32FC3 on the caller's scale, not empty; read. It is mirrored about its edge pixels; but where it is
///               a view into a larger image, the filters see the pixels around the view.
/// @param out    CV_32F of the image's size, allocated by the caller; every pixel is written. A tensor with a NaN or
///               infinite entry gives NaN.
/// @param size   side of the two Gaussian kernels in pixels, truncated to an integer, which must be odd and positive (3
///               is usual); the image library derives the sigma from it and raises its error otherwise
/// @param diagnostics  receives, in this order, "inputGauss.jpg", the smoothed image; "sobel.jpg", the derivative of
///               channel 0 along x; "sobelMatr.jpg" and "sobelGauss.jpg", the tensor's mixed entry before and after its
///               smoothing, all with the values as they are; and, multiplied by 255, "tensorX.jpg", the derivative
///               again; "tensor.jpg", `out`; "coherence.jpg", ((l1 - l2) / (l1 + l2))^2, NaN on flat ground. Prints for
///               the first pixel, as the image library's solver and formatter give them, the unit eigenvectors (rows)
///               times the root of the tensor's trace, "eig V", the eigenvalues, a space and the root. The formatter
///               breaks matrices over lines: "[0, 2;\n 2, 0]eig V[3;\n 1] 2". NaN stand where the solver gives up.
/// @throws std::invalid_argument  where `image` or `out` is of another type, or `out` too small
/// @note         Everything but the filters is evaluated pixel by pixel in float, 0.5 exp(..) + 0.5 in double, in the
///               order of the channels, with the roundings of the image library's eigenvalue solver. Works on 32 rows
///               and those around them that the kernels reach to, in ten planes, and where files are wanted on seven
///               planes of the image's size. All of it is released.
LIKENESS_API void computeStructuralTensor(cv::Mat& image, cv::Mat& out, float size,
                                          const Diagnostics& diagnostics = workingDirectory());

/// What `orientedStructure` looks at.
struct StructureOptions {
    int size = 3;           ///< side of the two Gaussian kernels in pixels: an odd number from 1 to 99
    bool coherence = true;  ///< whether `Structure::coherence` is wanted; it costs eigenvalues at every pixel
};

/// How strongly the structure around each pixel is oriented; l1 >= l2 are the eigenvalues of the structure tensor.
struct Structure {
    cv::Mat strength;   ///< CV_32FC1: (exp(-1e10 / (l1 - l2)^2) + 1) / 2, from 0.5, no orientation, towards 1
    cv::Mat coherence;  ///< CV_32FC1: ((l1 - l2) / (l1 + l2))^2, 0 to 1; NaN on flat ground; empty where not wanted
};

/// Measures the orientation of a photograph's structure, as `computeStructuralTensor` does on the scale 0..255.
///
/// @param photograph  rows x cols, any depth that `toUnit` takes, B, G, R, 0..1; not modified. A view into a larger
///                    image is seen as if it were a whole one. NaN and infinite values spread as far as the kernels
///                    reach.
/// @param watch       is told of every 32 rows; its receiver gets the dumps and the message of
///                    `computeStructuralTensor`
/// @return            two maps of the photograph's size, empty of an empty one. The strength has the bits of
///                    `computeStructuralTensor`; the coherence is the one that is dumped, times 255, divided by 255.
/// @throws std::invalid_argument  for another type or size of the kernels
/// @throws Cancelled  when the caller ends it
LIKENESS_API Structure orientedStructure(const cv::Mat& photograph, const StructureOptions& options = {},
                                         const Watch& watch = {});

}  // namespace likeness
