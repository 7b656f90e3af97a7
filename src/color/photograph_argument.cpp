#include "color/photograph_argument.hpp"

#include <likeness/color/unit_image.hpp>
#include "numerics/parallel.hpp"

#include <atomic>
#include <cmath>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace likeness {
namespace {

std::string textOf(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

std::string sizeText(const cv::Mat& image) {
    return std::to_string(image.cols) + " x " + std::to_string(image.rows);
}

bool areWithin(const cv::Mat& image, float limit) {
    std::atomic<bool> within{true};
    const ImageWalk walk = walkOver(image);
    numerics::forEachPiece(walk, numerics::pixelsInPiece, [&](int i, std::size_t first, std::size_t count) {
        const auto channels = static_cast<std::size_t>(image.channels());
        const float* const values = image.ptr<float>(i) + channels * first;
        bool all = true;
        for (std::size_t j = 0; j < channels * count; ++j) {
            all &= std::fabs(values[j]) <= limit;
        }
        if (!all) {
            within = false;
        }
    });
    return within;
}

/// Refuses the first value that is not within -limit to limit.
void requireWithin(const std::string& name, const cv::Mat& image, float limit, const std::string& expected) {
    if (areWithin(image, limit)) {
        return;
    }
    for (int i = 0; i < image.rows; ++i) {
        const float* const values = image.ptr<float>(i);
        const int count = image.cols * image.channels();
        for (int j = 0; j < count; ++j) {
            if (!(std::fabs(values[j]) <= limit)) {
                refuseArgument(name, "its values must be " + expected + ", and that at row " + std::to_string(i) +
                                         ", column " + std::to_string(j / image.channels()) + " is " +
                                         textOf(static_cast<double>(values[j])));
            }
        }
    }
}

}  // namespace

void refuseArgument(const std::string& name, const std::string& reason) {
    throw std::invalid_argument(name + ": " + reason);
}

void requirePhotograph(const std::string& name, const cv::Mat& image) {
    const bool hasPixels = !image.empty() && image.dims <= 2;
    unitPhotograph(name, hasPixels ? image(cv::Rect(0, 0, 1, 1)) : image);
}

cv::Mat unitPhotograph(const std::string& name, const cv::Mat& image) {
    if (image.empty()) {
        refuseArgument(name, "the image is empty");
    }
    cv::Mat unit;
    try {
        unit = toUnit(image);
    } catch (const std::invalid_argument& error) {
        refuseArgument(name, error.what());
    }
    return unit.isSubmatrix() ? unit.clone() : unit;
}

cv::Mat ownUnitPhotograph(const std::string& name, const cv::Mat& image) {
    const cv::Mat unit = unitPhotograph(name, image);
    return unit.data == image.data ? unit.clone() : unit;
}

void requireFinite(const std::string& name, const cv::Mat& image) {
    requireWithin(name, image, std::numeric_limits<float>::max(), "finite");
}

void requireBounded(const std::string& name, const cv::Mat& image) {
    requireWithin(name, image, 1e6F, "from -1e6 to 1e6");
}

void requireRowsAndColumns(const std::string& name, const cv::Mat& image) {
    if (image.dims > 2) {
        refuseArgument(name, "it must have rows and columns, not " + std::to_string(image.dims) + " dimensions");
    }
}

void requireSameSize(const std::string& firstName, const cv::Mat& first, const std::string& secondName,
                     const cv::Mat& second) {
    requireRowsAndColumns(firstName, first);
    requireRowsAndColumns(secondName, second);
    if (first.size() != second.size()) {
        refuseArgument(secondName, "it must have the size of " + firstName + ", " + sizeText(first) + ", and has " +
                                       sizeText(second));
    }
}

void requireBetween(const std::string& name, double value, double least, double greatest) {
    if (!(value >= least && value <= greatest)) {
        refuseArgument(name, "it must be from " + textOf(least) + " to " + textOf(greatest) + ", not " + textOf(value));
    }
}

void requireAboveZero(const std::string& name, double value, double greatest) {
    if (!(value > 0 && value <= greatest)) {
        refuseArgument(name, "it must be above 0 and up to " + textOf(greatest) + ", not " + textOf(value));
    }
}

std::string elementName(const std::string& name, std::size_t index) {
    return name + '[' + std::to_string(index) + ']';
}

}  // namespace likeness
