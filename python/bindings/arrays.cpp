#include "arrays.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace likeness::python {
namespace {

namespace py = pybind11;

/// "(480, 640, 4) of float16"
std::string describe(const py::array& array) {
    return py::str(array.attr("shape")).cast<std::string>() + " of " + py::str(array.dtype()).cast<std::string>();
}

/// OpenCV's depth of an array's elements; -1 where there is none for images.
int depthOf(const py::array& array) {
    const py::dtype type = array.dtype();
    const bool native = type.byteorder() == '=' || type.byteorder() == '|' || type.byteorder() == '<';
    if (!native) {
        return -1;
    }
    const py::ssize_t size = type.itemsize();
    switch (type.kind()) {
        case 'u':
            return size == 1 ? CV_8U : size == 2 ? CV_16U : -1;
        case 'f':
            return size == 4 ? CV_32F : size == 8 ? CV_64F : -1;
        default:
            return -1;
    }
}

int sizeOf(py::ssize_t length, const char* name) {
    if (length > std::numeric_limits<int>::max()) {
        throw std::invalid_argument(std::string(name) + ": more than 2^31 - 1 rows or columns");
    }
    return static_cast<int>(length);
}

void refuseMasked(const py::array& array, const char* name) {
    if (py::hasattr(array, "mask") && py::hasattr(array, "filled")) {
        throw std::invalid_argument(std::string(name) + ": masked arrays are not taken; .filled() has a value for all");
    }
}

/// Copies element by element, whatever the strides.
template <typename Element>
void copyElements(const py::array& array, bool reversed, cv::Mat& image) {
    const auto* const begin = static_cast<const char*>(array.data());
    const py::ssize_t ofRow = array.strides(0);
    const py::ssize_t ofColumn = array.strides(1);
    const int channels = image.channels();
    const py::ssize_t ofChannel = array.ndim() == 3 ? array.strides(2) : 0;
    for (int i = 0; i < image.rows; ++i) {
        auto* out = image.ptr<Element>(i);
        const char* pixel = begin + i * ofRow;
        for (int j = 0; j < image.cols; ++j, pixel += ofColumn) {
            for (int c = 0; c < channels; ++c) {
                const char* const from = pixel + (reversed ? channels - 1 - c : c) * ofChannel;
                std::memcpy(out++, from, sizeof(Element));
            }
        }
    }
}

cv::Mat wrappedOrCopied(const py::array& array, int depth, int channels, bool reversed, const char* name) {
    const int rows = sizeOf(array.shape(0), name);
    const int cols = sizeOf(array.shape(1), name);
    const int type = CV_MAKETYPE(depth, channels);
    if (rows == 0 || cols == 0) {
        return cv::Mat(0, 0, type);
    }
    const auto element = static_cast<py::ssize_t>(CV_ELEM_SIZE1(type));
    const py::ssize_t ofChannel = reversed ? -element : element;
    const bool fits = (channels == 1 || array.strides(2) == ofChannel) &&
                      (cols == 1 || array.strides(1) == channels * element) &&
                      (rows == 1 || (array.strides(0) >= cols * channels * element && array.strides(0) % element == 0));
    const auto address = reinterpret_cast<std::uintptr_t>(array.data());
    if (fits && address % static_cast<std::uintptr_t>(element) == 0) {
        // The library reads its arguments and never writes to them.
        auto* data = const_cast<char*>(static_cast<const char*>(array.data()));
        if (reversed) {
            data -= (channels - 1) * element;
        }
        const std::size_t step = rows == 1 ? static_cast<std::size_t>(cols * channels * element)
                                           : static_cast<std::size_t>(array.strides(0));
        return {rows, cols, type, data, step};
    }
    cv::Mat image(rows, cols, type);
    switch (element) {
        case 1:
            copyElements<std::uint8_t>(array, reversed, image);
            break;
        case 2:
            copyElements<std::uint16_t>(array, reversed, image);
            break;
        case 4:
            copyElements<std::uint32_t>(array, reversed, image);
            break;
        default:
            copyElements<std::uint64_t>(array, reversed, image);
    }
    return image;
}

template <typename Element>
void swapEnds(cv::Mat& image) {
    for (int i = 0; i < image.rows; ++i) {
        auto* pixel = image.ptr<Element>(i);
        for (int j = 0; j < image.cols; ++j, pixel += 3) {
            std::swap(pixel[0], pixel[2]);
        }
    }
}

}  // namespace

OrderedImage orderedImageOf(const py::array& array, const char* name) {
    // The check of its shape comes with the way that is not taken below.
    const bool isBytes = array.ndim() == 3 && array.shape(2) == 3 && depthOf(array) == CV_8U;
    const bool isRgb = isBytes && array.strides(2) == 1 && (array.shape(1) <= 1 || array.strides(1) == 3) &&
                       (array.shape(0) <= 1 || array.strides(0) >= 3 * array.shape(1));
    return {imageOf(array, name, isRgb ? Channels::same : Channels::rgb), isRgb};
}

cv::Mat imageOf(const py::array& array, const char* name, Channels channels) {
    refuseMasked(array, name);
    const int depth = depthOf(array);
    if (array.ndim() != 3 || array.shape(2) != 3 || depth < 0) {
        throw std::invalid_argument(std::string(name) +
                                    ": an array (H, W, 3) of uint8, uint16, float32 or float64 is wanted, not " +
                                    describe(array));
    }
    return wrappedOrCopied(array, depth, 3, channels == Channels::rgb, name);
}

cv::Mat planeOf(const py::array& array, const char* name) {
    refuseMasked(array, name);
    const int depth = depthOf(array);
    if (array.ndim() != 2 || depth < 0) {
        throw std::invalid_argument(std::string(name) +
                                    ": an array (H, W) of uint8, uint16, float32 or float64 is wanted, not " +
                                    describe(array));
    }
    return wrappedOrCopied(array, depth, 1, false, name);
}

PixelWeights weightsOf(const py::object& mask) {
    if (mask.is_none()) {
        return {};
    }
    const auto array = mask.cast<py::array>();
    return PixelWeights::ofMask(array.ndim() == 3 ? imageOf(array, "mask", Channels::same) : planeOf(array, "mask"));
}

void reverseChannels(cv::Mat& image) {
    if (image.empty() || image.channels() != 3) {
        return;
    }
    if (image.u == nullptr || image.u->refcount > 1) {
        image = image.clone();
    }
    switch (image.elemSize1()) {
        case 1:
            swapEnds<std::uint8_t>(image);
            break;
        case 2:
            swapEnds<std::uint16_t>(image);
            break;
        case 4:
            swapEnds<std::uint32_t>(image);
            break;
        default:
            swapEnds<std::uint64_t>(image);
    }
}

py::array arrayOf(cv::Mat image) {
    if (!image.empty() && image.u == nullptr) {
        image = image.clone();
    }
    const char* code = "f4";
    switch (image.depth()) {
        case CV_8U:
            code = "u1";
            break;
        case CV_16U:
            code = "u2";
            break;
        case CV_32S:
            code = "i4";
            break;
        case CV_64F:
            code = "f8";
            break;
        default:
            break;
    }
    const int channels = image.channels();
    const auto element = static_cast<py::ssize_t>(image.elemSize1());
    std::vector<py::ssize_t> shape = {image.rows, image.cols};
    std::vector<py::ssize_t> strides = {static_cast<py::ssize_t>(image.empty() ? 0 : image.step[0]),
                                        element * channels};
    if (channels > 1) {
        shape.push_back(channels);
        strides.push_back(element);
    }
    if (image.empty()) {
        return py::array(py::dtype(code), shape);
    }
    auto owner = std::make_unique<cv::Mat>(std::move(image));
    const void* const data = owner->data;
    const py::capsule memory(owner.get(), [](void* mat) { delete static_cast<cv::Mat*>(mat); });
    owner.release();  // NOLINT(bugprone-unused-return-value): the capsule has it now
    return py::array(py::dtype(code), shape, strides, data, memory);
}

}  // namespace likeness::python
