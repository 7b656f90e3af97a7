// Refusals of arguments that an operation would read or write beyond their ends. A check looks at an image's header and
// never at its pixels; an operation makes all of its checks before it changes anything.
#pragma once

#include <opencv2/core.hpp>

namespace likeness {

/// @param function, argument  names for the error's text
/// @throws std::invalid_argument  if `image` is not of `type`; an empty one may be of any. Names the function, the
///                                argument, what was expected and what came
void requireType(const cv::Mat& image, int type, const char* function, const char* argument);

/// That an image can be walked over as far as another: `type`, and at least the rows and columns of `size`.
/// @throws std::invalid_argument
void requireRoom(const cv::Mat& image, cv::Size size, int type, const char* function, const char* argument);

/// That there is a matrix of at least `rows` x `cols` of `type`.
inline void requireMatrix(const cv::Mat& matrix, int rows, int cols, int type, const char* function,
                          const char* argument) {
    requireRoom(matrix, {cols, rows}, type, function, argument);
}

/// That the first element can be read or written: a colour triple, a white.
inline void requireElement(const cv::Mat& matrix, int type, const char* function, const char* argument) {
    requireRoom(matrix, {1, 1}, type, function, argument);
}

/// @throws std::invalid_argument  if there is nothing at `pointer`
void requireThere(const void* pointer, const char* function, const char* argument);

}  // namespace likeness
