#include "numerics/repeated_sum.hpp"

#include <cmath>

namespace likeness::numerics {

float repeatedSum(float term, std::int64_t count) noexcept {
    float sum = 0.0F;
    while (count > 0) {
        const float next = sum + term;
        --count;
        if (next == sum) {
            return sum;  // the term is less than half a unit in the last place: no later step moves the sum
        }
        // Two steps of the same size in a row repeat until the binade ends: the first may still have rounded a tie
        // away from an odd sum, after it the sum is even and every tie falls the same way.
        const double step = static_cast<double>(next) - static_cast<double>(sum);
        const double binadeEnd = std::ldexp(1.0, std::ilogb(next) + 1);
        const float afterNext = next + term;
        sum = next;
        if (static_cast<double>(afterNext) - static_cast<double>(next) == step && afterNext < binadeEnd) {
            const auto fit = static_cast<std::int64_t>((binadeEnd - static_cast<double>(next)) / step) - 1;
            const std::int64_t steps = fit < count ? fit : count;
            if (steps > 0) {
                sum = static_cast<float>(static_cast<double>(next) + static_cast<double>(steps) * step);
                count -= steps;
            }
        }
    }
    return sum;
}

}  // namespace likeness::numerics
