#pragma once

#include <vector>

namespace likeness {

/// `count` numbers, the first `longest` and each half of the one before: reciprocal exposure times.
inline std::vector<float> halvingTimes(float longest, int count) {
    std::vector<float> times;
    for (float time = longest; count > 0; --count, time /= 2) {
        times.push_back(time);
    }
    return times;
}

}  // namespace likeness
