#include "archive/histogram_sketch.hpp"

#include "archive/made_photographs.hpp"

#include <gtest/gtest.h>

#include <cstring>

namespace likeness::testing {
namespace {

using namespace archive;

struct Made {
    std::vector<AppearanceDistributions> distributions;
    std::vector<std::string> bytes;
    GroupEdges edges;
    std::string sketches;
};

Made makeSome(std::size_t count, int side) {
    Made made;
    EdgeSample sample;
    const auto pixels = static_cast<std::uint64_t>(side) * static_cast<std::uint64_t>(side);
    for (std::size_t k = 0; k < count; ++k) {
        made.distributions.push_back(madeDistributions(k % 3 == 2 ? k - 1 : k, side, side));
        made.bytes.push_back(encodedHistograms(made.distributions.back(), pixels));
        sample.add(made.bytes.back(), pixels);
    }
    made.edges = sample.edges();
    made.sketches.resize(sketchColumnBytes(count));
    for (std::size_t k = 0; k < count; ++k) {
        const Sketch sketch = sketchOf(made.bytes[k], pixels, made.edges);
        for (std::size_t b = 0; b < sketch.size(); ++b) {
            made.sketches[sketchPlace(k, b / sketchGroups, b % sketchGroups)] = static_cast<char>(sketch[b]);
        }
    }
    return made;
}

TEST(HistogramSketch, BoundsEveryCoefficientFromAbove) {
    for (const int side : {1, 3, 40, 300}) {
        const Made made = makeSome(48, side);
        double slack = 0;
        for (const AppearanceDistributions& query : made.distributions) {
            const SketchQuery sketch(query, made.edges);
            for (std::size_t k = 0; k < made.distributions.size(); k += sketchLanes) {
                std::array<std::array<float, sketchLanes>, 5> bounds{};
                sketch.bounds(reinterpret_cast<const std::uint8_t*>(made.sketches.data()) + k * sketchBytes, bounds);
                for (std::size_t lane = 0; lane < sketchLanes; ++lane) {
                    const LikenessCoefficients exact = compareDistributions(query, made.distributions[k + lane]);
                    for (std::size_t c = 0; c < correlateNames.size(); ++c) {
                        ASSERT_GE(bounds[c][lane], exact[c]) << side << ' ' << k + lane;
                        slack = std::max(slack, static_cast<double>(bounds[c][lane] - exact[c]));
                    }
                }
            }
        }
        if (side == 300) {
            EXPECT_LT(slack, 0.5);  // measured 0.35: bounds of groups, and not 1 for every pair
        }
    }
}

TEST(HistogramSketch, SumsTheSameIntegersOnEveryProcessor) {
#ifdef LIKENESS_HAVE_AVX2_SKETCHES
    if (__builtin_cpu_supports("avx2") == 0) {
        GTEST_SKIP() << "this processor has no AVX2";
    }
    cv::RNG random(9);
    for (int i = 0; i < 200; ++i) {
        std::array<std::uint8_t, sketchLanes * sketchBytes> bytes{};
        SketchQuery::Values values{};
        for (std::uint8_t& byte : bytes) {
            byte = i == 0 ? 255 : static_cast<std::uint8_t>(random.uniform(0, 256));
        }
        for (std::int16_t& value : values) {
            value = i == 0 ? std::int16_t{32767} : static_cast<std::int16_t>(random.uniform(0, 32768));
        }
        SketchSums plain{};
        SketchSums vector{};
        sketchProducts(bytes.data(), values, plain);
        sketchProductsAvx2(bytes.data(), values, vector);
        ASSERT_EQ(plain, vector);
    }
#else
    GTEST_SKIP() << "built for another processor";
#endif
}

TEST(HistogramSketch, RefusesMoreThanOnePixelPerPixel) {
    std::string bytes;
    put(bytes, std::uint8_t{0});
    for (int k = 0; k < 5; ++k) {  // one bin of probability 2, as a float
        putVarint(bytes, 0);
        putVarint(bytes, HistogramReader::floats);
        putVarint(bytes, 1);
        putVarint(bytes, 0);
        putVarint(bytes, 0);
        put(bytes, 2.0F);
    }
    EXPECT_THROW(sketchOf(bytes, 100, {}), HistogramDamage);
}

}  // namespace
}  // namespace likeness::testing
