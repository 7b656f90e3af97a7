#include "support/mat_matchers.hpp"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace likeness::testing {
namespace {

::testing::AssertionResult sameShape(const cv::Mat& actual, const cv::Mat& expected) {
    if (actual.size() != expected.size() || actual.type() != expected.type()) {
        return ::testing::AssertionFailure()
               << "got " << actual.cols << " x " << actual.rows << " of type " << cv::typeToString(actual.type())
               << ", expected " << expected.cols << " x " << expected.rows << " of type "
               << cv::typeToString(expected.type());
    }
    return ::testing::AssertionSuccess();
}

template <typename T>
bool sameBits(T a, T b) {
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(a) && std::isnan(b)) {
            return true;
        }
    }
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

/// Compares element by element; `difference(a, b)` is 0 for a match and otherwise its size.
template <typename T, typename Difference>
::testing::AssertionResult compare(const cv::Mat& actual, const cv::Mat& expected, Difference difference) {
    const int channels = actual.channels();
    std::size_t wrong = 0;
    double worst = -1;
    ::testing::AssertionResult failure = ::testing::AssertionFailure();
    std::string place;
    for (int i = 0; i < actual.rows; ++i) {
        const T* const a = actual.ptr<T>(i);
        const T* const e = expected.ptr<T>(i);
        for (int k = 0; k < actual.cols * channels; ++k) {
            const double d = difference(a[k], e[k]);
            if (d > 0) {
                ++wrong;
                if (d > worst) {
                    worst = d;
                    std::ostringstream text;
                    text.precision(std::numeric_limits<T>::max_digits10);
                    text << "row " << i << " col " << k / channels << " channel " << k % channels << ": " << +a[k]
                         << ", expected " << +e[k];
                    place = text.str();
                }
            }
        }
    }
    if (wrong == 0) {
        return ::testing::AssertionSuccess();
    }
    return failure << wrong << " of " << actual.total() * static_cast<std::size_t>(channels)
                   << " elements differ, the worst by " << worst << " at " << place;
}

template <typename T>
::testing::AssertionResult compareBits(const cv::Mat& actual, const cv::Mat& expected) {
    return compare<T>(actual, expected, [](T a, T b) {
        if (sameBits(a, b)) {
            return 0.0;
        }
        const double d = std::abs(static_cast<double>(a) - static_cast<double>(b));
        return d > 0 ? d : std::numeric_limits<double>::min();
    });
}

}  // namespace

::testing::AssertionResult matsEqual(const char* actualText, const char* expectedText, const cv::Mat& actual,
                                     const cv::Mat& expected) {
    ::testing::AssertionResult result = sameShape(actual, expected);
    if (result) {
        switch (actual.depth()) {
            case CV_8U:
                result = compareBits<uchar>(actual, expected);
                break;
            case CV_16U:
                result = compareBits<ushort>(actual, expected);
                break;
            case CV_32S:
                result = compareBits<int>(actual, expected);
                break;
            case CV_32F:
                result = compareBits<float>(actual, expected);
                break;
            case CV_64F:
                result = compareBits<double>(actual, expected);
                break;
            default:
                result = ::testing::AssertionFailure() << "no comparison for this depth";
        }
    }
    if (!result) {
        result << "\n  " << actualText << " against " << expectedText;
    }
    return result;
}

::testing::AssertionResult matsNear(const cv::Mat& actual, const cv::Mat& expected, Tolerance tolerance) {
    const ::testing::AssertionResult shape = sameShape(actual, expected);
    if (!shape) {
        return shape;
    }
    const auto difference = [tolerance](auto a, auto b) {
        const auto x = static_cast<double>(a);
        const auto y = static_cast<double>(b);
        if ((std::isnan(x) && std::isnan(y)) || x == y) {
            return 0.0;
        }
        const double d = std::abs(x - y);
        const bool passes = d <= tolerance.absolute || d <= tolerance.relative * std::abs(y);
        return passes && std::isfinite(y) ? 0.0 : (std::isnan(d) ? std::numeric_limits<double>::infinity() : d);
    };
    return actual.depth() == CV_64F ? compare<double>(actual, expected, difference)
                                    : compare<float>(actual, expected, difference);
}

std::int64_t ulpDistance(float a, float b) {
    if (std::isnan(a) || std::isnan(b)) {
        return std::isnan(a) && std::isnan(b) ? 0 : std::numeric_limits<std::int64_t>::max();
    }
    const auto ordered = [](float v) {
        const auto bits = std::bit_cast<std::int32_t>(v);
        return static_cast<std::int64_t>(bits < 0 ? std::numeric_limits<std::int32_t>::min() - bits : bits);
    };
    return std::abs(ordered(a) - ordered(b));
}

}  // namespace likeness::testing
