#include "transport/symmetric_map.hpp"

#include "transport/symmetric_map_avx2.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace likeness {
namespace {

#ifdef __x86_64__

using avx2::pixelsAtOnce;
using avx2::SymmetricLanes;

/// Of `rank` random directions; elements on the scale of squared colour values, rounded to float as images hold them.
void setCovariance(SymmetricLanes& lanes, std::size_t pixel, int rank, double scale, std::mt19937_64& engine) {
    std::normal_distribution<double> normal(0, scale);
    double sum[6] = {};
    for (int k = 0; k < rank; ++k) {
        const double v[] = {normal(engine), normal(engine), normal(engine)};
        const double products[] = {v[0] * v[0], v[0] * v[1], v[0] * v[2], v[1] * v[1], v[1] * v[2], v[2] * v[2]};
        for (int e = 0; e < 6; ++e) {
            sum[e] += products[e];
        }
    }
    for (int e = 0; e < 6; ++e) {
        lanes[e][pixel] = static_cast<float>(sum[e]);
    }
}

SquareMatrix<3> matrixOf(const SymmetricLanes& lanes, std::size_t k) {
    return {{{lanes[0][k], lanes[1][k], lanes[2][k]},
             {lanes[1][k], lanes[3][k], lanes[4][k]},
             {lanes[2][k], lanes[4][k], lanes[5][k]}}};
}

class TransportMapsOfSeveralPixels : public ::testing::Test {
protected:
    void SetUp() override {
        if (__builtin_cpu_supports("avx2") == 0) {
            GTEST_SKIP() << "this processor has no AVX2";
        }
    }

    /// Each map that the lanes give has the bits of the single one.
    /// @return  the lanes that have one
    unsigned expectBits(const SymmetricLanes& source, const SymmetricLanes& target) {
        SymmetricLanes maps;
        const unsigned done = avx2::transportMaps(source, target, maps);
        constexpr int rows[] = {0, 0, 0, 1, 1, 2};
        constexpr int cols[] = {0, 1, 2, 1, 2, 2};
        for (std::size_t k = 0; k < pixelsAtOnce; ++k) {
            const SquareMatrix<3> alone = transportMap(matrixOf(source, k), matrixOf(target, k));
            for (int e = 0; e < 6 && (done >> k & 1U) != 0; ++e) {
                EXPECT_EQ(std::bit_cast<std::uint64_t>(maps[e][k]),
                          std::bit_cast<std::uint64_t>(alone[rows[e]][cols[e]]))
                    << "pixel " << k << ", element " << e;
            }
        }
        return done;
    }
};

TEST_F(TransportMapsOfSeveralPixels, AreTheSingleOnes) {
    std::mt19937_64 engine(1);
    for (int round = 0; round < 2000; ++round) {
        SymmetricLanes source;
        SymmetricLanes target;
        for (std::size_t k = 0; k < pixelsAtOnce; ++k) {
            // Flat windows, windows of one colour's shades, ordinary ones; side by side.
            setCovariance(source, k, 4, std::pow(10.0, static_cast<double>(engine() % 4)), engine);
            setCovariance(target, k, static_cast<int>(engine() % 5), std::pow(10.0, static_cast<double>(engine() % 4)),
                          engine);
        }
        EXPECT_NE(expectBits(source, target), 0U);
    }
}

TEST_F(TransportMapsOfSeveralPixels, LeaveSingularSourcesAndValuesThatAreNotFinite) {
    std::mt19937_64 engine(2);
    SymmetricLanes source;
    SymmetricLanes target;
    for (std::size_t k = 0; k < pixelsAtOnce; ++k) {
        setCovariance(source, k, 4, 20, engine);
        setCovariance(target, k, 4, 20, engine);
    }
    EXPECT_EQ(expectBits(source, target), 0b1111U);
    setCovariance(source, 0, 1, 1000, engine);  // far above the least variance, of one direction
    target[4][2] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(expectBits(source, target), 0b1010U);
    source[0][1] = std::numeric_limits<double>::infinity();
    setCovariance(source, 3, 1, 1000, engine);
    EXPECT_EQ(expectBits(source, target), 0U);
}

#endif

}  // namespace
}  // namespace likeness
