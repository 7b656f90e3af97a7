#include <likeness/color/pixel_weights.hpp>

#include "color/photograph_argument.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

namespace likeness {
namespace {

constexpr double greatestWeight = PixelWeights::whole;

std::string sizeText(const cv::Size& size) {
    return std::to_string(size.width) + " x " + std::to_string(size.height);
}

/// The first of three equal channels.
template <typename Value>
cv::Mat onlyChannel(const cv::Mat& mask) {
    cv::Mat only(mask.size(), CV_MAKETYPE(mask.depth(), 1));
    for (int i = 0; i < mask.rows; ++i) {
        const auto* const in = mask.ptr<Value>(i);
        auto* const out = only.ptr<Value>(i);
        for (std::ptrdiff_t j = 0; j < mask.cols; ++j) {
            const Value value = in[3 * j];
            // NaN is refused for what it is, not for being unequal to itself.
            if ((in[3 * j + 1] != value && !(value != value)) || (in[3 * j + 2] != value && !(value != value))) {
                refuseArgument("mask", "its three channels differ at row " + std::to_string(i) + ", column " +
                                           std::to_string(j) + ": a mask is grey");
            }
            out[j] = value;
        }
    }
    return only;
}

cv::Mat oneChannelOf(const cv::Mat& mask) {
    if (mask.channels() == 1) {
        return mask;
    }
    switch (mask.depth()) {
        case CV_8U:
            return onlyChannel<uchar>(mask);
        case CV_16U:
            return onlyChannel<ushort>(mask);
        case CV_32F:
            return onlyChannel<float>(mask);
        default:
            return onlyChannel<double>(mask);
    }
}

template <typename Value>
cv::Mat weightsOfFloats(const cv::Mat& mask) {
    cv::Mat weights(mask.size(), CV_16UC1);
    for (int i = 0; i < mask.rows; ++i) {
        const auto* const in = mask.ptr<Value>(i);
        auto* const out = weights.ptr<ushort>(i);
        for (int j = 0; j < mask.cols; ++j) {
            const double value = static_cast<double>(in[j]);
            if (!(value >= 0 && value <= 1)) {
                refuseArgument("mask", "its floats must be from 0 to 1, and that at row " + std::to_string(i) +
                                           ", column " + std::to_string(j) + " is not");
            }
            out[j] = static_cast<ushort>(std::lround(value * greatestWeight));
        }
    }
    return weights;
}

double inPixels(const RegionLength& length, int side) {
    return length.percent ? length.value / 100 * side : length.value;
}

void requireRegion(const PhotographRegion& region) {
    for (const RegionLength* length : {&region.x, &region.y, &region.width, &region.height}) {
        if (!std::isfinite(length->value)) {
            refuseArgument("regions", "their numbers must be finite");
        }
    }
    if (!(region.width.value > 0 && region.height.value > 0)) {
        refuseArgument("regions", "their widths and heights must be above 0");
    }
}

/// The pixels whose centres lie from `from` up to, but not at, `to`: the first, and the one after the last.
std::pair<int, int> centersBetween(double from, double to, int side) {
    const auto limited = [side](double edge) { return static_cast<int>(std::clamp<double>(edge, 0, side)); };
    return {limited(std::ceil(from - 0.5)), limited(std::ceil(to - 0.5))};
}

/// Marks the pixels of a region.
/// @return  whether there are any
bool mark(const PhotographRegion& region, cv::Mat& weights) {
    const double left = inPixels(region.x, weights.cols);
    const double top = inPixels(region.y, weights.rows);
    const double width = inPixels(region.width, weights.cols);
    const double height = inPixels(region.height, weights.rows);
    const bool ellipse = region.shape == PhotographRegion::Shape::ellipse;
    // Centres on the lower and right edges belong to an ellipse: it is asked for one pixel more.
    const double beyond = ellipse ? 1 : 0;
    const auto [firstRow, endRow] = centersBetween(top, top + height + beyond, weights.rows);
    const auto [firstCol, endCol] = centersBetween(left, left + width + beyond, weights.cols);
    bool any = false;
    for (int i = firstRow; i < endRow; ++i) {
        auto* const row = weights.ptr<ushort>(i);
        if (!ellipse) {
            std::fill(row + firstCol, row + std::max(firstCol, endCol), PixelWeights::whole);
            any = any || firstCol < endCol;
            continue;
        }
        const double v = (i + 0.5 - (top + height / 2)) / (height / 2);
        for (int j = firstCol; j < endCol; ++j) {
            const double u = (j + 0.5 - (left + width / 2)) / (width / 2);
            if (u * u + v * v <= 1) {
                row[j] = PixelWeights::whole;
                any = true;
            }
        }
    }
    return any;
}

void requireSize(const cv::Size& size) {
    if (size.empty()) {
        refuseArgument("size", "the photograph is empty");
    }
}

/// exp(-u^2 / 2) of each pixel of a side, u in quarters of it.
std::vector<double> bell(int side) {
    std::vector<double> values(static_cast<std::size_t>(side));
    for (int k = 0; k < side; ++k) {
        const double u = (k + 0.5 - side / 2.0) / (side / 4.0);
        values[static_cast<std::size_t>(k)] = std::exp(-u * u / 2);
    }
    return values;
}

/// Whether there are four more weights and their bits are these.
bool fourAre(std::uint64_t bits, const ushort* weights, int count) {
    std::uint64_t four = ~bits;
    if (count >= 4) {
        std::memcpy(&four, weights, sizeof four);
    }
    return four == bits;
}

}  // namespace

PixelWeights::PixelWeights(cv::Mat weights) : weights_(std::move(weights)) {
    bool grey = false;
    for (int i = 0; i < weights_.rows; ++i) {
        const auto* const row = weights_.ptr<ushort>(i);
        constexpr int piece = 1 << 15;  // of which the sum has 32 bits
        for (int first = 0; first < weights_.cols; first += std::min(piece, weights_.cols - first)) {
            const int end = first + std::min(piece, weights_.cols - first);
            std::uint32_t sum = 0;
            std::uint32_t counted = 0;
            std::uint32_t others = 0;
            for (int j = first; j < end; ++j) {
                const std::uint32_t weight = row[j];
                sum += weight;
                counted += weight != 0 ? 1U : 0U;
                others |= (weight + 1) & 0xFFFEU;  // 0 of 0 and of 65535 alone
            }
            sum_ += sum;
            counted_ += counted;
            grey = grey || others != 0;
        }
    }
    binary_ = !grey;
}

PixelWeights PixelWeights::ofMask(const cv::Mat& mask) {
    if (mask.empty()) {
        refuseArgument("mask", "it is empty");
    }
    const int depth = mask.depth();
    const bool known = depth == CV_8U || depth == CV_16U || depth == CV_32F || depth == CV_64F;
    if (mask.dims > 2 || !known || (mask.channels() != 1 && mask.channels() != 3)) {
        refuseArgument("mask",
                       "it must have one channel, or three that are equal, of 8 or 16 bits, float or double, "
                       "not " +
                           cv::typeToString(mask.type()));
    }
    const cv::Mat only = oneChannelOf(mask);
    if (depth == CV_32F) {
        return PixelWeights(weightsOfFloats<float>(only));
    }
    if (depth == CV_64F) {
        return PixelWeights(weightsOfFloats<double>(only));
    }
    cv::Mat weights;
    only.convertTo(weights, CV_16U, depth == CV_8U ? 257 : 1);  // exact: 255 x 257 is 65535
    return PixelWeights(weights);
}

PixelWeights PixelWeights::ofRegions(const cv::Size& size, const std::vector<PhotographRegion>& regions) {
    requireSize(size);
    if (regions.empty()) {
        refuseArgument("regions", "there is none");
    }
    cv::Mat weights(size, CV_16UC1, cv::Scalar(0));
    for (std::size_t k = 0; k < regions.size(); ++k) {
        requireRegion(regions[k]);
        if (!mark(regions[k], weights)) {
            refuseArgument(elementName("regions", k),
                           "it holds no pixel of the photograph, which is " + sizeText(size) + " pixels");
        }
    }
    return PixelWeights(weights);
}

PixelWeights PixelWeights::centered(const cv::Size& size) {
    requireSize(size);
    const std::vector<double> across = bell(size.width);
    const std::vector<double> down = bell(size.height);
    cv::Mat weights(size, CV_16UC1);
    for (int i = 0; i < weights.rows; ++i) {
        auto* const row = weights.ptr<ushort>(i);
        const double factor = greatestWeight * down[static_cast<std::size_t>(i)];
        for (int j = 0; j < weights.cols; ++j) {
            row[j] = static_cast<ushort>(std::lround(factor * across[static_cast<std::size_t>(j)]));
        }
    }
    return PixelWeights(weights);
}

PixelWeights PixelWeights::times(const PixelWeights& other) const {
    if (weights_.empty()) {
        return other;
    }
    if (other.weights_.empty()) {
        return *this;
    }
    if (size() != other.size()) {
        refuseArgument("weights", "those of " + sizeText(size()) + " pixels cannot be multiplied by those of " +
                                      sizeText(other.size()));
    }
    cv::Mat products(size(), CV_16UC1);
    for (int i = 0; i < products.rows; ++i) {
        const auto* const a = weights_.ptr<ushort>(i);
        const auto* const b = other.weights_.ptr<ushort>(i);
        auto* const product = products.ptr<ushort>(i);
        for (int j = 0; j < products.cols; ++j) {
            const std::uint32_t both = std::uint32_t{a[j]} * b[j];
            product[j] = static_cast<ushort>(both / whole + (both % whole > whole / 2 ? 1 : 0));
        }
    }
    return PixelWeights(products);
}

std::int64_t PixelWeights::wholePixels() const noexcept {
    return static_cast<std::int64_t>(std::max<std::uint64_t>((sum_ + whole / 2) / whole, 1));
}

void PixelWeights::require(const std::string& name, const cv::Mat& photograph) const {
    if (weights_.empty()) {
        return;
    }
    requireRowsAndColumns(name, photograph);
    if (photograph.size() != size()) {
        refuseArgument(name, "it is " + sizeText(photograph.size()) + " pixels, and the weights of its pixels are " +
                                 sizeText(size()) + ": they must be of one size");
    }
    if (counted_ == 0) {
        throw NothingCounts(name + ": no pixel of it counts: every weight is 0");
    }
}

cv::Mat PixelWeights::countedOf(const cv::Mat& image) const {
    require("image", image);
    if (countAll()) {
        return image;
    }
    if (counted_ == static_cast<std::int64_t>(image.total()) && image.isContinuous() &&
        counted_ <= std::numeric_limits<int>::max()) {
        return image.reshape(0, 1);
    }
    if (counted_ > std::numeric_limits<int>::max()) {
        refuseArgument("image", "2^31 pixels and more cannot be counted apart");
    }
    cv::Mat counted(1, static_cast<int>(counted_), image.type());
    const std::size_t bytes = image.elemSize();
    uchar* out = counted.ptr<uchar>(0);
    for (int i = 0; i < image.rows; ++i) {
        const auto* const weights = weights_.ptr<ushort>(i);
        const uchar* const pixels = image.ptr<uchar>(i);
        for (int j = 0; j < image.cols;) {
            while (j < image.cols && weights[j] == 0) {
                j += fourAre(0, weights + j, image.cols - j) ? 4 : 1;
            }
            const int first = j;
            while (j < image.cols && weights[j] != 0) {
                j += fourAre(~std::uint64_t{0}, weights + j, image.cols - j) ? 4 : 1;
            }
            const std::size_t run = static_cast<std::size_t>(j - first) * bytes;
            if (run > 0) {
                std::memcpy(out, pixels + static_cast<std::size_t>(first) * bytes, run);
                out += run;
            }
        }
    }
    return counted;
}

}  // namespace likeness
