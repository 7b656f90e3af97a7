// Division of a plane by a plane.
#pragma once

namespace likeness {

/// One element of a plane divided by a plane: 0 where the divisor is 0 (of either sign), whatever the dividend. This is
/// the rule of OpenCV 3; OpenCV 4 gives infinities and NaN, which a running sum would spread over whole rows. A NaN
/// divisor gives NaN.
template <typename T>
inline T quotient(T dividend, T divisor) noexcept {
    const T ratio = dividend / divisor;  // before the choice, so that a loop of these has no branch
    return divisor != 0 ? ratio : T(0);
}

}  // namespace likeness
