#pragma once

#include <likeness/adaptation/degree_of_adaptation.hpp>
#include <likeness/appearance/viewing_conditions.hpp>

namespace likeness {

/// D under the adapting luminance that photographs are seen under throughout.
inline float usualDegreeOfAdaptation() {
    return computeAdapFactD(adaptingLuminance);
}

}  // namespace likeness
