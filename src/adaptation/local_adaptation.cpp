#include <likeness/adaptation/local_adaptation.hpp>

#include <likeness/adaptation/degree_of_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include "adaptation/adaptation_steps.hpp"
#include "adaptation/common_region.hpp"
#include "numerics/argument_check.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace likeness {
namespace {

/// r = D target / (source + 1e-6) for a target of each pixel.
class RatioToImage {
public:
    explicit RatioToImage(const cv::Mat& target) : target_(target) {}

    void enterRow(int i) { row_ = target_.ptr<float>(i); }
    float operator()(int element, int /*channel*/, float source, float degree) const {
        return static_cast<float>(static_cast<double>(row_[element] * degree) / (1e-6 + static_cast<double>(source)));
    }

private:
    const cv::Mat& target_;
    const float* row_ = nullptr;
};

/// r = D (blend target + (1 - blend) source) / source for one target.
class RatioToTriple {
public:
    RatioToTriple(const cv::Mat& target, float blend)
        : blended_(target.at<cv::Vec3f>(0, 0) * blend), rest_(1 - blend) {}

    void enterRow(int /*i*/) {}
    float operator()(int /*element*/, int channel, float source, float degree) const {
        return (source * rest_ + blended_[channel]) * degree / source;
    }

private:
    cv::Vec3f blended_;
    float rest_;
};

/// img = gain(r, D) img within the region that all images have. Of `mask`, pixels of 0 are left out.
template <typename Ratio, typename Gain>
void adaptRegion(cv::Rect region, cv::Mat& img, cv::Mat& sourceWhite, const cv::Mat& mask, Ratio ratio, Gain gain) {
    constexpr int bandHeight = 16;  // X, Y, Z of so many rows stay in the cache
    cv::Mat xyz;
    std::vector<float> degrees(static_cast<std::size_t>(region.width));
    for (int i = 0; i < region.height; ++i) {
        if (i % bandHeight == 0) {
            cv::Mat whites = sourceWhite(cv::Rect(0, i, region.width, std::min(bandHeight, region.height - i)));
            xyz.create(whites.size(), CV_32FC3);
            convertSharpenedBGRtoXYZ(whites, xyz);
        }
        const auto* const pixelXyz = xyz.ptr<cv::Vec3f>(i % bandHeight);
        for (int j = 0; j < region.width; ++j) {
            degrees[static_cast<std::size_t>(j)] = static_cast<float>(static_cast<double>(pixelXyz[j][1]) * 0.2);
        }
        computeAdapFactD(degrees.data(), degrees.data(), degrees.size());

        auto* const values = img.ptr<float>(i);
        const auto* const sources = sourceWhite.ptr<float>(i);
        const uchar* const takesPart = i < mask.rows ? mask.ptr<uchar>(i) : nullptr;
        ratio.enterRow(i);
        for (int j = 0; j < region.width; ++j) {
            if (takesPart != nullptr && j < mask.cols && takesPart[j] == 0) {
                continue;
            }
            const float degree = degrees[static_cast<std::size_t>(j)];
            for (int c = 0; c < 3; ++c) {
                const int k = 3 * j + c;
                values[k] = gain(ratio(k, c, sources[k], degree), degree, values[k]);
            }
        }
    }
}

template <typename Gain>
void adapt(cv::Mat& img, cv::Mat& sourceWhite, const cv::Mat& targetWhite, const cv::Mat& mask, float blend,
           bool perPixel, Gain gain) {
    if (perPixel) {
        adaptRegion(commonRegion(img, sourceWhite, targetWhite), img, sourceWhite, mask, RatioToImage(targetWhite),
                    gain);
    } else {
        adaptRegion(commonRegion(img, sourceWhite), img, sourceWhite, mask, RatioToTriple(targetWhite, blend), gain);
    }
}

/// The photograph with values in [0, 1]; one of floats itself.
cv::Mat normalized(const cv::Mat& photograph) {
    if (photograph.depth() != CV_8U) {
        return photograph;
    }
    cv::Mat table(1, 256, CV_32F);
    for (int value = 0; value < 256; ++value) {
        table.at<float>(value) = static_cast<float>(value / 255.0);
    }
    cv::Mat result;
    cv::LUT(photograph, table, result);
    return result;
}

void requireWhites(const char* function, const cv::Mat& img, const cv::Mat& sourceWhite, const cv::Mat& targetWhite,
                   bool perPixel) {
    requireType(function, CV_32FC3, {{"img", img}, {"sourceWhite", sourceWhite}, {"targetWhite", targetWhite}});
    if (!perPixel) {
        requireElement(function, CV_32FC3, {{"targetWhite", targetWhite}});
    }
}

void requirePhotograph(const char* function, const char* argument, const cv::Mat& photograph) {
    requireType(function, photograph.type() == CV_8UC3 ? CV_8UC3 : CV_32FC3, {{argument, photograph}});
}

}  // namespace

void iCAMCAT(cv::Mat& img, cv::Mat& sourceWhite, cv::Mat& targetWhite, cv::Mat& /*spare*/, cv::Mat& /*unused*/,
             float blend, bool perPixel) {
    requireWhites("iCAMCAT", img, sourceWhite, targetWhite, perPixel);
    adapt(img, sourceWhite, targetWhite, cv::Mat(), blend, perPixel, [](float ratio, float degree, float value) {
        return static_cast<float>((static_cast<double>(ratio) + 1.0 - static_cast<double>(degree)) *
                                  static_cast<double>(value));
    });
}

void iCAMCATLocal(cv::Mat& img, cv::Mat& sourceWhite, cv::Mat& targetWhite, cv::Mat& /*spare*/, cv::Mat& /*unused*/,
                  cv::Mat& mask, float blend, bool perPixel) {
    requireWhites("iCAMCATLocal", img, sourceWhite, targetWhite, perPixel);
    requireType("iCAMCATLocal", CV_8U, {{"mask", mask}});
    adapt(img, sourceWhite, targetWhite, mask, blend, perPixel,
          [](float ratio, float degree, float value) { return (0.3F * ratio + 1.0F - 0.3F * degree) * value; });
}

bool areImgsEqualivalent(cv::Mat& first, cv::Mat& second) {
    requireType("areImgsEqualivalent", CV_32FC3, {{"first", first}, {"second", second}});
    const cv::Rect region = commonRegion(first, second);
    float sum = 0;
    for (int i = 0; i < region.height; ++i) {
        const auto* const a = first.ptr<float>(i);
        const auto* const b = second.ptr<float>(i);
        for (int k = 0; k < 3 * region.width; ++k) {
            if (!std::isnan(a[k]) && !std::isnan(b[k])) {
                sum += (a[k] - b[k]) * (a[k] - b[k]);
            }
        }
    }
    if (sum == 0) {
        return false;  // identical images have not converged, departure 18
    }
    const float mean = sum / static_cast<float>(static_cast<std::int64_t>(first.rows) * first.cols);
    return !(static_cast<double>(mean) > 1e-6);
}

void adaptEachPixel(cv::Mat& img, const cv::Mat& referenceWhite, float blend, const Watch& watch) {
    constexpr int steps = 3;
    cv::Mat targetWhite = referenceWhite.clone();
    convertBGRToXYZDirect(targetWhite, targetWhite);
    convertXYZtoSharpenedBGR(targetWhite, targetWhite);
    if (watch.receiver().wantsMessages()) {
        grayWorldTriple(img, watch.receiver());
    }
    cv::Mat adapted(img.size(), CV_32FC3);
    convertBGRToXYZDirect(img, adapted);
    watch.step(1, steps);
    cv::Mat white;
    computeWhiteImg(adapted, white, 1600, watch.receiver());
    watch.step(2, steps);
    convertXYZtoSharpenedBGR(adapted, adapted);
    convertXYZtoSharpenedBGR(white, white);
    cv::Mat everywhere;
    iCAMCATLocal(adapted, white, targetWhite, white, white, everywhere, blend, false);
    convertSharpenedBGRtoXYZ(adapted, adapted);
    convertXYZToBGRDirect(adapted, img);
    watch.step(3, steps);
}

void performLocalCAMCA(cv::Mat& img, cv::Mat& reference, float blend, const Diagnostics& diagnostics) {
    requirePhotograph("performLocalCAMCA", "img", img);
    requirePhotograph("performLocalCAMCA", "reference", reference);
    // White images of the reference and a shadow mask would have no effect on the result. There is nothing to iterate
    // either: the white before the first pass is unknown, and one pass is all that is made.
    const cv::Mat referenceWhite = grayWorldTriple(normalized(reference), diagnostics);
    img = normalized(img);
    Watch watch;
    watch.diagnostics = &diagnostics;
    adaptEachPixel(img, referenceWhite, blend, watch);
}

}  // namespace likeness
