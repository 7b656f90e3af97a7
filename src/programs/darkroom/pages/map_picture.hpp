// Pictures of maps of numbers, to be looked at.
#pragma once

#include <opencv2/core.hpp>

#include <string>

namespace likeness::darkroom {

/// Which colours stand for which values.
struct MapScale {
    enum class Colors {
        sequential,  ///< from dark violet over green to yellow (viridis)
        diverging,  ///< from blue over light grey to red (Moreland, "Diverging color maps for scientific visualization",
                    ///< 2009): for differences, 0 in the middle
        cyclic,     ///< for angles from -180 to 180 degrees: once around the hues, red at 0
    };

    std::string name;  ///< of the quantity, with its unit
    double low = 0;    ///< lesser values have the same colour
    double high = 1;   ///< greater values have the same colour; > low
    Colors colors = Colors::sequential;
};

/// A scale whose ends are `low` and `high`, widened to round numbers; of equal or no numbers, one that is 1 wide.
MapScale roundScale(std::string name, double low, double high);

/// Angles in degrees, all of them: from `low` once around.
MapScale degreesScale(std::string name, double low = -180.0);

/// What the colours stand for, in words: "colours from 0 to 120".
std::string rangeOf(const MapScale& scale);

/// The colours of a map's values. NaN has a colour that no value has: magenta on a sequential scale, grey on a cyclic
/// one.
/// @param map  CV_32F
/// @return     CV_8UC3, B, G, R, of the map's size
cv::Mat mapColors(const cv::Mat& map, const MapScale& scale);

/// The same with a legend below: name, colours, numbers; arrows where values lie beyond the ends; the colour and the
/// number of the NaN where there are some. White beside a map that is narrower than its legend.
cv::Mat mapPicture(const cv::Mat& map, const MapScale& scale);

/// The colours of a scale from low to high, for a legend of another make.
/// @return  1 x `width`, CV_8UC3
cv::Mat scaleColors(const MapScale& scale, int width);

/// A map made smaller, so that neither side is longer than `side`: means over areas, NaN left out; NaN where there is
/// nothing else. A smaller map as it is.
/// @param map  CV_32F
cv::Mat reducedMap(const cv::Mat& map, int side);

}  // namespace likeness::darkroom
