// Student's t distribution.
#pragma once

namespace likeness {

/// Probability that |T| exceeds |t|.
double studentTwoSided(double t, double degreesOfFreedom);

/// The t that |T| stays within with probability `confidence`, 0 to 1.
double studentLimit(double confidence, double degreesOfFreedom);

}  // namespace likeness
