#include "archive/histogram_sketch.hpp"

#include <immintrin.h>

#include <cstring>

namespace likeness::archive {

void sketchProductsAvx2(const std::uint8_t* bytes, const SketchQuery::Values& values, SketchSums& sums) {
    for (std::size_t k = 0; k < sums.size(); ++k) {
        __m256i sum = _mm256_setzero_si256();
        for (std::size_t pair = 0; pair < sketchGroups / 2; ++pair) {
            const std::size_t group = k * sketchGroups + 2 * pair;
            std::int32_t both = 0;
            std::memcpy(&both, &values[group], sizeof both);
            __m128i eight;
            std::memcpy(&eight, bytes + group * sketchLanes, sizeof eight);
            sum = _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_cvtepu8_epi16(eight), _mm256_set1_epi32(both)));
        }
        std::memcpy(sums[k].data(), &sum, sizeof sum);
    }
}

}  // namespace likeness::archive
