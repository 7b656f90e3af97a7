// Exposure times of a bracket: from the command line or from the photographs' EXIF data.
#pragma once

#include "console/console.hpp"

#include <string>
#include <vector>

namespace likeness::darkroom {

/// The times of a list such as "1/30,0.5", in seconds, one for each of `count` images.
/// @throws Refusal  naming --times, if one is not a fraction or a number above 0, or there are not `count`
std::vector<float> exposureTimesIn(const std::string& list, std::size_t count);

/// The exposure times that the cameras noted in the EXIF data of JPEG files, in seconds. Warns where aperture or
/// sensitivity differ as well, because the times alone do not tell the exposures then.
/// @throws Refusal  naming the first file without a time
std::vector<float> exposureTimesOf(const Console& console, const std::vector<std::string>& paths);

/// Refuses two images of one exposure time.
/// @throws Refusal  naming them
void checkTimesDiffer(const std::vector<std::string>& paths, const std::vector<float>& times);

}  // namespace likeness::darkroom
