// Checks of what the operations on photographs of any depth are called with. What is wrong is a std::invalid_argument
// whose text begins with the name of the argument.
#pragma once

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace likeness {

[[noreturn]] void refuseArgument(const std::string& name, const std::string& reason);

/// Refuses an image that is empty or that `toUnit` does not take.
void requirePhotograph(const std::string& name, const cv::Mat& image);

/// The photograph `toUnit`, for reading: it may share the pixels of `image`. A view into a larger image is copied,
/// because the filters of the image library would look at the pixels around it.
/// @throws std::invalid_argument  also where `image` is empty
cv::Mat unitPhotograph(const std::string& name, const cv::Mat& image);

/// The same in memory of its own, to be worked on.
cv::Mat ownUnitPhotograph(const std::string& name, const cv::Mat& image);

/// Refuses a float image with NaN or infinite values.
void requireFinite(const std::string& name, const cv::Mat& image);

/// Refuses a float image with NaN or values outside -1e6 to 1e6: the bilateral filter of the image library makes tables
/// over the range of the values.
void requireBounded(const std::string& name, const cv::Mat& image);

/// Refuses a matrix of more than two dimensions, whose rows and cols are -1.
void requireRowsAndColumns(const std::string& name, const cv::Mat& image);

/// Also of more than two dimensions.
void requireSameSize(const std::string& firstName, const cv::Mat& first, const std::string& secondName,
                     const cv::Mat& second);

/// Refuses a number outside least to greatest, NaN too.
void requireBetween(const std::string& name, double value, double least, double greatest);

/// Refuses a number that is not above 0 and up to `greatest`, NaN too.
void requireAboveZero(const std::string& name, double value, double greatest);

/// "exposures[2]"
std::string elementName(const std::string& name, std::size_t index);

}  // namespace likeness
