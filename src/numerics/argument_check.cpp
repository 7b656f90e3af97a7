#include "numerics/argument_check.hpp"

#include <stdexcept>
#include <string>

namespace likeness {
namespace {

std::string textOf(cv::Size size, int type) {
    return std::to_string(size.height) + " x " + std::to_string(size.width) + ' ' + cv::typeToString(type);
}

[[noreturn]] void refuse(const char* function, const char* argument, const std::string& came,
                         const std::string& expected) {
    throw std::invalid_argument(std::string(function) + ": " + argument + " is " + came + ", expected " + expected);
}

std::string shapeOf(const cv::Mat& image) {
    if (image.dims > 2) {
        return "a matrix of " + std::to_string(image.dims) + " dimensions";
    }
    return image.empty() ? "empty" : textOf(image.size(), image.type());
}

}  // namespace

void requireType(const cv::Mat& image, int type, const char* function, const char* argument) {
    if (image.dims > 2 || (!image.empty() && image.type() != type)) {
        refuse(function, argument, shapeOf(image), cv::typeToString(type));
    }
}

void requireRoom(const cv::Mat& image, cv::Size size, int type, const char* function, const char* argument) {
    if (size.empty() && image.dims <= 2) {
        return;  // nothing is looked at
    }
    if (image.dims > 2 || image.rows < size.height || image.cols < size.width || image.type() != type) {
        refuse(function, argument, shapeOf(image), "at least " + textOf(size, type));
    }
}

void requireThere(const void* pointer, const char* function, const char* argument) {
    if (pointer == nullptr) {
        throw std::invalid_argument(std::string(function) + ": " + argument + " is a null pointer");
    }
}

}  // namespace likeness
