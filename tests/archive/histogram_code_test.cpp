#include "archive/histogram_code.hpp"

#include <likeness/comparison/analysis.hpp>
#include "archive/made_photographs.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

namespace likeness::testing {
namespace {

using archive::decodedHistograms;
using archive::encodedHistograms;

void expectExact(const AppearanceDistributions& distributions, std::uint64_t pixels, const std::string& what) {
    const std::string bytes = encodedHistograms(distributions, pixels);
    EXPECT_TRUE(sameDistributions(decodedHistograms(bytes, pixels), distributions)) << what;
}

TEST(HistogramCode, GivesPhotographsBackToTheBit) {
    std::vector<AnalysisOptions> all(4);
    all[1].hue = HueWeights::pixels;
    all[2].hue = HueWeights::chroma;
    all[3].model.kind = AppearanceModelKind::ciecam16;
    for (const std::string& name : examplePhotographNames()) {
        for (const cv::Mat& photograph : {examplePhotograph(name), exampleImage(name)}) {
            for (std::size_t o = 0; o < all.size(); ++o) {
                expectExact(analyze(photograph, all[o]).distributions(), photograph.total(),
                            name + ", options " + std::to_string(o));
            }
        }
    }
}

TEST(HistogramCode, TakesAKilobyteForAPhotograph) {
    for (const std::string& name : examplePhotographNames()) {
        const cv::Mat photograph = examplePhotograph(name);
        const std::string bytes = encodedHistograms(analyze(photograph).distributions(), photograph.total());
        RecordProperty(name, static_cast<int>(bytes.size()));
        EXPECT_LE(bytes.size(), 1000U) << name;
    }
}

TEST(HistogramCode, GivesValuesBackThatNoPhotographOfBytesHas) {
    cv::Mat wide(40, 50, CV_32FC3);
    cv::RNG random(5);
    random.fill(wide, cv::RNG::UNIFORM, -2, 400);
    wide.at<cv::Vec3f>(3, 4) = cv::Vec3f::all(std::numeric_limits<float>::quiet_NaN());
    wide.at<cv::Vec3f>(3, 5) = cv::Vec3f::all(3e38F);
    expectExact(analyze(wide).distributions(), wide.total(), "wide floats");
    const cv::Mat pixel(1, 1, CV_8UC3, cv::Scalar(1, 2, 3));
    expectExact(analyze(pixel).distributions(), 1, "a pixel");
    const cv::Mat nothing(3, 3, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
    expectExact(analyze(nothing).distributions(), nothing.total(), "NaN alone");
}

TEST(HistogramCode, CountsBeyondWhereFloatsStop) {
    // 24 million pixels of one colour, and a few others: the comparison's counts stop at 2^24.
    cv::Mat large(4000, 6000, CV_8UC3, cv::Scalar(90, 120, 200));
    large.rowRange(0, 700).setTo(cv::Scalar(10, 200, 30));
    expectExact(analyze(large).distributions(), large.total(), "24 megapixels");
}

TEST(HistogramCode, RefusesWhatIsNoAnalysisOfSoManyPixels) {
    const AppearanceDistributions made = madeDistributions(1, 20, 30);
    EXPECT_THROW(encodedHistograms(made, 0), std::invalid_argument);
    AppearanceDistributions doubled = made;
    for (auto& [bin, probability] : doubled.chroma) {
        probability *= 2;
    }
    EXPECT_THROW(encodedHistograms(doubled, 600), std::invalid_argument);
    AppearanceDistributions shares = made;
    shares.nanShares.chroma = 0.123456789;
    EXPECT_THROW(encodedHistograms(shares, 600), std::invalid_argument);
}

TEST(HistogramCode, RefusesDamageAndNeverReadsBeyondIt) {
    AppearanceDistributions distributions = madeDistributions(7, 200, 150);
    distributions.hue = distributions.chroma;
    const std::string bytes = encodedHistograms(distributions, 30000);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const std::string cut = bytes.substr(0, length);  // memory of its own: a sanitizer sees what is read behind it
        EXPECT_THROW(decodedHistograms(cut, 30000), archive::HistogramDamage) << length;
    }
    cv::RNG random(3);
    for (int i = 0; i < 3000; ++i) {
        std::string damaged = bytes;
        for (int n = random.uniform(1, 6); n > 0; --n) {
            damaged[static_cast<std::size_t>(random.uniform(0, static_cast<int>(bytes.size())))] =
                static_cast<char>(random.uniform(0, 256));
        }
        try {
            decodedHistograms(damaged, 30000);
        } catch (const archive::HistogramDamage&) {
        }
    }
}

TEST(HistogramCode, RefusesAShareOfBlackThatIsNone) {
    AppearanceDistributions distributions = madeDistributions(7, 200, 150);
    distributions.blackShare = 0.25;
    const std::string bytes = encodedHistograms(distributions, 30000);
    EXPECT_EQ(decodedHistograms(bytes, 30000).blackShare, 0.25);
    for (const double share : {std::numeric_limits<double>::quiet_NaN(), -0.25, 0.0, 1.5}) {
        std::string damaged = bytes;
        std::memcpy(damaged.data() + 1, &share, sizeof share);  // behind the flags
        EXPECT_THROW(decodedHistograms(damaged, 30000), archive::HistogramDamage) << share;
    }
}

}  // namespace
}  // namespace likeness::testing
