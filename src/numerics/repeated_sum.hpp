#pragma once

#include <cstdint>

namespace likeness::numerics {

/// The float that a running float sum holds after `term` was added `count` times to 0, one rounding a step.
///
/// In single precision that is not count * term: 100 added 2,073,600 times gives 201,749,952, and from about 2^31 on
/// the sum no longer moves. It depends on the count alone, so it is found without running through the terms: within
/// one binade every step adds the same rounded amount.
///
/// @param term   finite, > 0
/// @param count  >= 0
/// @return       bit for bit the sum of the plain loop
float repeatedSum(float term, std::int64_t count) noexcept;

}  // namespace likeness::numerics
