// Refusals of arguments that an operation would read or write beyond their ends. A check looks at the head of a matrix
// and never at its elements; an operation makes all of its checks before it changes anything.
//
// All throw std::invalid_argument with a sentence that names the function and the argument, what was expected and what
// came: "convertBGRToLab: lab is empty, expected at least 20 x 30 CV_32FC3".
#pragma once

#include <opencv2/core.hpp>

#include <initializer_list>

namespace likeness {

/// An argument and its name.
struct NamedMat {
    const char* name;
    const cv::Mat& matrix;
};
struct NamedPointer {
    const char* name;
    const void* pointer;
};

/// Matrices of one type. An empty one may have any: there is nothing in it to be misread.
void requireType(const char* function, int type, std::initializer_list<NamedMat> matrices);

/// Matrices of one type that have at least the rows and columns of `size`. Where that is empty, nothing is required.
void requireRoom(const char* function, cv::Size size, int type, std::initializer_list<NamedMat> matrices);

/// Matrices of one type whose first element can be read or written: colour triples, whites.
inline void requireElement(const char* function, int type, std::initializer_list<NamedMat> matrices) {
    requireRoom(function, {1, 1}, type, matrices);
}

/// CV_32F matrices of at least `rows` x `cols`.
inline void requireMatrix(const char* function, int rows, int cols, std::initializer_list<NamedMat> matrices) {
    requireRoom(function, {cols, rows}, CV_32F, matrices);
}

/// Float images of at least so many channels; empty ones may be of any type.
void requireFloatChannels(const char* function, int channels, std::initializer_list<NamedMat> images);

/// Pointers that are not null.
void requireThere(const char* function, std::initializer_list<NamedPointer> pointers);

/// A number from `least` to `greatest`.
void requireWithin(const char* function, const char* argument, int value, int least, int greatest);

/// The number of a row, a column or an element: 0 or more, and one that has a next.
void requireIndex(const char* function, const char* argument, int value);

}  // namespace likeness
