// NumPy's arrays as the library takes images, and the way back.
#pragma once

#include <likeness/color/pixel_weights.hpp>

#include <opencv2/core.hpp>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace likeness::python {

/// What the three channels of an array are.
enum class Channels {
    rgb,   ///< R, G, B (or their sharpened likes): reversed for the library, which has B, G, R
    same,  ///< in the library's order: X, Y, Z; L*, a*, b*; Y, U, V
};

/// An image of H x W x 3 as the library sees it. The array's own memory where it lies as the library wants it, which then
/// must stay as long as the image; else a copy. An empty array gives an empty image.
/// @param name  of the argument, for the sentence
/// @throws std::invalid_argument  for other shapes and element types, masked arrays, and more than 2^31 - 1 rows or columns
cv::Mat imageOf(const pybind11::array& array, const char* name, Channels channels);

/// A photograph of R, G, B for who takes either order.
struct OrderedImage {
    cv::Mat image;
    bool isRgb = false;  ///< whether its channels are R, G, B; else they are B, G, R
};

/// The array's own memory where its channels stand beside each other in either order; else a copy in B, G, R.
/// @throws std::invalid_argument  as above
OrderedImage orderedImageOf(const pybind11::array& array, const char* name);

/// A plane of H x W.
/// @throws std::invalid_argument  as above
cv::Mat planeOf(const pybind11::array& array, const char* name);

/// The weights of a mask of H x W, or of H x W x 3 with equal channels; None: every pixel counts.
/// @throws std::invalid_argument  as above, and as `PixelWeights::ofMask`
PixelWeights weightsOf(const pybind11::object& mask);

/// Makes R, G, B of B, G, R in place, where nobody else has the pixels; else in a copy. May run without the interpreter's
/// lock.
void reverseChannels(cv::Mat& image);

/// An array of H x W x channels, or of H x W for one channel, that owns the image's memory; the channels stay as they are.
/// What does not own its memory itself is copied.
pybind11::array arrayOf(cv::Mat image);

}  // namespace likeness::python
