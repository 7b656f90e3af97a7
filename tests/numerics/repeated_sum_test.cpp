#include "numerics/repeated_sum.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace likeness::numerics {
namespace {

/// Sums of the plain loop after each of the ascending counts.
std::vector<float> plainSums(float term, const std::vector<std::int64_t>& counts) {
    std::vector<float> sums;
    float sum = 0.0F;
    std::int64_t added = 0;
    for (const std::int64_t count : counts) {
        for (; added < count; ++added) {
            sum += term;
        }
        sums.push_back(sum);
    }
    return sums;
}

void expectPlainSums(float term, const std::vector<std::int64_t>& counts) {
    const std::vector<float> expected = plainSums(term, counts);
    for (std::size_t i = 0; i < counts.size(); ++i) {
        EXPECT_EQ(repeatedSum(term, counts[i]), expected[i]) << term << " added " << counts[i] << " times";
    }
}

TEST(RepeatedSum, IsThePlainLoopOverHundreds) {
    std::vector<std::int64_t> counts;
    for (std::int64_t count = 0; count < 3000; ++count) {
        counts.push_back(count);
    }
    for (std::int64_t count = 3000; count < 60'000'000; count += count / 7 + 1) {
        counts.push_back(count);
    }
    for (const std::int64_t photograph : {307'200, 2'073'600, 12'000'000}) {
        counts.insert(counts.end(), {photograph - 1, photograph, photograph + 1});
    }
    std::sort(counts.begin(), counts.end());
    expectPlainSums(100.0F, counts);
}

TEST(RepeatedSum, IsThePlainLoopForManyTerms) {
    const std::vector<std::int64_t> counts = {0, 1, 2, 3, 10, 1000, 65'537, 307'200, 2'073'600, 5'000'000, 12'000'000};
    for (const float term : {0.1F, 1.0F / 3, 0.5F, 1.0F, 1.1F, 3.0F, 7.7F, 99.99999F, 100.00001F, 255.0F, 1e-30F, 1e30F,
                             std::nextafter(2.0F, 0.0F), std::nextafter(2.0F, 3.0F)}) {
        expectPlainSums(term, counts);
    }
}

TEST(RepeatedSum, RoundsTiesAsTheLoopDoes) {
    // Odd multiples of half a unit in the last place: from some sum on, every step is a tie.
    for (const float term : {16'777'217.0F / 2, 8'388'609.0F, 12'582'913.0F, 1.0000001F}) {
        std::vector<std::int64_t> counts;
        for (std::int64_t count = 0; count < 200; ++count) {
            counts.push_back(count);
        }
        counts.insert(counts.end(), {1000, 100'000, 3'000'000});
        expectPlainSums(term, counts);
    }
}

TEST(RepeatedSum, HasTheValuesOfTheComparison) {
    EXPECT_EQ(repeatedSum(100.0F, 0), 0.0F);
    EXPECT_EQ(repeatedSum(100.0F, 1), 100.0F);
    EXPECT_EQ(repeatedSum(100.0F, 2'073'600), 201'749'952.0F);
}

TEST(RepeatedSum, StopsWhereTheTermIsTooSmallToMoveTheSum) {
    EXPECT_EQ(repeatedSum(1.0F, (std::int64_t{1} << 24) - 1), 16'777'215.0F);
    EXPECT_EQ(repeatedSum(1.0F, std::int64_t{1} << 24), 16'777'216.0F);
    EXPECT_EQ(repeatedSum(1.0F, (std::int64_t{1} << 24) + 1), 16'777'216.0F);
    EXPECT_EQ(repeatedSum(1.0F, std::numeric_limits<std::int64_t>::max()), 16'777'216.0F);
    const float standstill = repeatedSum(100.0F, std::int64_t{1} << 40);
    EXPECT_EQ(standstill + 100.0F, standstill);
    EXPECT_EQ(standstill, 2'147'483'648.0F);
    EXPECT_EQ(repeatedSum(100.0F, std::int64_t{1} << 50), standstill);
}

}  // namespace
}  // namespace likeness::numerics
