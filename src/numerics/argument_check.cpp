#include "numerics/argument_check.hpp"

#include <limits>
#include <stdexcept>
#include <string>

namespace likeness {
namespace {

std::string textOf(cv::Size size, int type) {
    return std::to_string(size.height) + " x " + std::to_string(size.width) + ' ' + cv::typeToString(type);
}

std::string textOf(const cv::Mat& matrix) {
    if (matrix.dims > 2) {
        return "a matrix of " + std::to_string(matrix.dims) + " dimensions";
    }
    return matrix.empty() ? "empty" : textOf(matrix.size(), matrix.type());
}

[[noreturn]] void refuse(const char* function, const char* argument, const std::string& came,
                         const std::string& expected) {
    throw std::invalid_argument(std::string(function) + ": " + argument + " is " + came + ", expected " + expected);
}

}  // namespace

void requireType(const char* function, int type, std::initializer_list<NamedMat> matrices) {
    for (const auto& [name, matrix] : matrices) {
        if (matrix.dims > 2 || (matrix.type() != type && !matrix.empty())) {
            refuse(function, name, textOf(matrix), cv::typeToString(type));
        }
    }
}

void requireRoom(const char* function, cv::Size size, int type, std::initializer_list<NamedMat> matrices) {
    if (size.empty()) {
        return;
    }
    for (const auto& [name, matrix] : matrices) {
        if (matrix.dims > 2 || matrix.type() != type || matrix.rows < size.height || matrix.cols < size.width) {
            refuse(function, name, textOf(matrix), "at least " + textOf(size, type));
        }
    }
}

void requireFloatChannels(const char* function, int channels, std::initializer_list<NamedMat> images) {
    for (const auto& [name, image] : images) {
        if (image.dims > 2 || (!image.empty() && (image.depth() != CV_32F || image.channels() < channels))) {
            refuse(function, name, textOf(image),
                   channels == 1 ? "CV_32F" : "CV_32F of at least " + std::to_string(channels) + " channels");
        }
    }
}

void requireThere(const char* function, std::initializer_list<NamedPointer> pointers) {
    for (const auto& [name, pointer] : pointers) {
        if (pointer == nullptr) {
            refuse(function, name, "a null pointer", "an array");
        }
    }
}

void requireWithin(const char* function, const char* argument, int value, int least, int greatest) {
    if (value < least || value > greatest) {
        refuse(function, argument, std::to_string(value),
               "a number from " + std::to_string(least) + " to " + std::to_string(greatest));
    }
}

void requireIndex(const char* function, const char* argument, int value) {
    requireWithin(function, argument, value, 0, std::numeric_limits<int>::max() - 1);
}

}  // namespace likeness
