#include <likeness/filter/guidedfilter.hpp>
#include "reference/transport_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <vector>

namespace {

namespace reference = likeness::reference;
using likeness::dropAll;
using likeness::GuidedFilterColor;
using likeness::testing::randomImage;
using likeness::testing::withGaps;

cv::Mat filtered(const cv::Mat& guide, const cv::Mat& p, int windowSide) {
    return GuidedFilterColor(guide, windowSide, 0.1, dropAll()).filterColorChannelsMK(p);
}

/// A part of an example photograph, values 0..255.
cv::Mat photograph(const std::string& name) {
    return likeness::testing::exampleImage(name)(cv::Rect(100, 80, 120, 90)) * 255;
}

/// 5 x 5 windows hold 25 independent colours, so that no local covariance is near to singular and float maps are good.
cv::Mat noise(std::uint64_t seed) {
    return randomImage({57, 43}, 3, 0.0F, 255.0F, seed);
}

TEST(TransportFilter, IsTheLiteralOne) {
    for (const int side : {5, 9}) {
        // The rounding of the literal maps, measured 3e-4; a wrong element of a map shows in whole units.
        EXPECT_MAT_NEAR(filtered(noise(1), noise(2), side), reference::filterColorChannelsMK(noise(1), noise(2), side),
                        {.absolute = 3e-3});
    }
}

TEST(TransportFilter, OfImagesIn0To1IsTheLiteralOne) {
    // All variances are below the floor, which leaves little of the guide; the maps are the better conditioned.
    const cv::Mat guide = noise(3) / 255;
    const cv::Mat p = noise(4) / 255;
    EXPECT_MAT_NEAR(filtered(guide, p, 7), reference::filterColorChannelsMK(guide, p, 7), {.absolute = 1e-6});
}

// Windows of photographs are flat, or vary along one colour only. Single precision leaves their maps a few digits or
// none, so that the yardstick is the same filter with each map evaluated in double, step by step.
TEST(TransportFilter, OfPhotographsIsTheOneWithMapsInDouble) {
    const cv::Mat guide = photograph("coffee.jpg");
    const cv::Mat p = photograph("cat.jpg");
    EXPECT_MAT_NEAR(filtered(guide, p, 9),
                    reference::filterColorChannelsMK(guide, p, 9, reference::MapPrecision::twofold),
                    {.absolute = 1e-4});
}

TEST(TransportFilter, UsesElement02InThePlaceOf01InTheSecondChannel) {
    // The guide's channels are independent; in the input 0 goes with 1, and not with 2: T01 is not 0, T02 is.
    cv::Mat guide = noise(5);
    std::vector<cv::Mat> planes;
    cv::split(noise(6), planes);
    planes[1] = planes[0] * 0.9 + planes[1] * 0.1;
    cv::Mat p;
    cv::merge(planes, p);
    const int whole = 2 * 43 + 1;  // one window nearly for all, mirrored
    const cv::Mat result = filtered(guide, p, whole);
    const cv::Mat literal = reference::filterColorChannelsMK(guide, p, whole);
    EXPECT_MAT_NEAR(result, literal, {.absolute = 3e-3});
    // With the symmetric map the second channel would follow the guide's channel 0, as the first follows channel 1.
    std::vector<cv::Mat> out;
    std::vector<cv::Mat> in;
    cv::split(result, out);
    cv::split(guide, in);
    const auto correlation = [](const cv::Mat& a, const cv::Mat& b) {
        const cv::Mat da = a - cv::mean(a)[0];
        const cv::Mat db = b - cv::mean(b)[0];
        return da.dot(db) / std::sqrt(da.dot(da) * db.dot(db));
    };
    EXPECT_GT(correlation(out[0], in[1]), 0.3);
    EXPECT_LT(std::abs(correlation(out[1], in[0])), 0.15);
}

TEST(TransportFilter, OfTheGuideItselfIsTheGuide) {
    // T is the identity wherever the variances reach the floor, as they do in every window of this noise.
    EXPECT_MAT_NEAR(filtered(noise(7), noise(7), 5), noise(7), {.absolute = 1e-4});
}

TEST(TransportFilter, ShrinksTheGuidesContrastBelowTheFloor) {
    // Variances of at most 1: T is about sqrt(variance / 7.5) instead of the identity.
    const cv::Mat guide = randomImage({40, 40}, 3, 0.0F, 1.0F, 8);
    const cv::Mat result = filtered(guide, guide, 9);
    cv::Scalar mean;
    cv::Scalar before;
    cv::Scalar after;
    cv::Mat smooth;
    cv::blur(guide, smooth, {9, 9});
    cv::meanStdDev(guide - smooth, mean, before);
    cv::meanStdDev(result - smooth, mean, after);
    EXPECT_NEAR(after[0] / before[0], std::sqrt(1.0 / 12 / 7.5), 0.02);
}

TEST(TransportFilter, TakesAByteGuideUnscaled) {
    cv::Mat bytes;
    noise(9).convertTo(bytes, CV_8U);
    cv::Mat floats;
    bytes.convertTo(floats, CV_32F);
    EXPECT_MAT_EQUAL(filtered(bytes, noise(10), 5), filtered(floats, noise(10), 5));
}

TEST(TransportFilter, TakesAnyShape) {
    EXPECT_MAT_EQUAL(filtered(withGaps(noise(11)), withGaps(noise(12)), 5), filtered(noise(11), noise(12), 5));
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(31, 1), cv::Size(1, 31)}) {
        const cv::Mat guide = randomImage(size, 3, 0.0F, 255.0F, 13);
        const cv::Mat p = randomImage(size, 3, 0.0F, 255.0F, 14);
        const cv::Mat result = filtered(guide, p, 3);
        EXPECT_EQ(result.size(), size);
        EXPECT_EQ(result.type(), CV_32FC3);
    }
    // One pixel has no variance: what is left is the mean.
    const cv::Mat p(1, 1, CV_32FC3, cv::Scalar(10, 20, 30));
    EXPECT_MAT_EQUAL(filtered(cv::Mat(1, 1, CV_32FC3, cv::Scalar(7, 8, 9)), p, 1), p);
}

TEST(TransportFilter, OfAFlatGuideIsTheLocalMeanOfTheInput) {
    const cv::Mat p = noise(15);
    cv::Mat mean;
    cv::blur(p, mean, {5, 5}, {-1, -1}, cv::BORDER_REFLECT_101);
    EXPECT_MAT_EQUAL(filtered(cv::Mat(p.size(), CV_32FC3, cv::Scalar(64, 128, 32)), p, 5), mean);
}

TEST(TransportFilter, GivesNaNWhereTheInputsStatisticsAreNaN) {
    const cv::Mat guide = noise(16);
    cv::Mat p = noise(17);
    p.at<cv::Vec3f>(20, 30)[1] = std::numeric_limits<float>::quiet_NaN();
    const cv::Mat result = filtered(guide, p, 5);
    for (int k = 0; k < 3; ++k) {
        EXPECT_TRUE(std::isnan(result.at<cv::Vec3f>(20, 30)[k]));
        EXPECT_FALSE(std::isnan(result.at<cv::Vec3f>(0, 0)[k]));
    }
}

TEST(TransportFilter, RefusesWhatIsNotThreeFloatChannelsOfTheGuidesSize) {
    const GuidedFilterColor filter(noise(18), 5, 0.1, dropAll());
    EXPECT_THROW(filter.filterColorChannelsMK(cv::Mat(43, 57, CV_32FC1)), cv::Exception);
    EXPECT_THROW(filter.filterColorChannelsMK(cv::Mat(43, 57, CV_8UC3)), cv::Exception);
    EXPECT_THROW(filter.filterColorChannelsMK(cv::Mat(43, 56, CV_32FC3)), cv::Exception);
    cv::Mat doubles;
    noise(18).convertTo(doubles, CV_64F);
    EXPECT_THROW(filtered(doubles, noise(18), 5), cv::Exception);
}

TEST(TransportFilter, WritesNothing) {
    const likeness::testing::ScratchDirectory scratch;
    EXPECT_EQ(likeness::testing::printedBy([] { filtered(noise(19), noise(20), 5); }), "");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

#if CV_VERSION_MAJOR < 4
using AccessFlag = int;
#else
using cv::AccessFlag;
#endif

/// Counts the images that are allocated while it lives.
class AllocationCounter : public cv::MatAllocator {
public:
    AllocationCounter() { cv::Mat::setDefaultAllocator(this); }
    ~AllocationCounter() override { cv::Mat::setDefaultAllocator(cv::Mat::getStdAllocator()); }

    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step, AccessFlag flags,
                           cv::UMatUsageFlags usageFlags) const override {
        ++count;
        return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usageFlags);
    }
    bool allocate(cv::UMatData* data, AccessFlag flags, cv::UMatUsageFlags usageFlags) const override {
        return cv::Mat::getStdAllocator()->allocate(data, flags, usageFlags);
    }
    void deallocate(cv::UMatData* data) const override { cv::Mat::getStdAllocator()->deallocate(data); }

    mutable int count = 0;
};

int allocationsFor(cv::Size size) {
    const cv::Mat guide = randomImage(size, 3, 0.0F, 255.0F, 21);
    const GuidedFilterColor filter(guide, 5, 0.1, dropAll());
    cv::setNumThreads(1);
    const AllocationCounter counter;
    filter.filterColorChannelsMK(guide);
    return counter.count;
}

TEST(TransportFilter, AllocatesNothingPerPixel) {
    EXPECT_EQ(allocationsFor({64, 48}), allocationsFor({16, 12}));
}

}  // namespace
