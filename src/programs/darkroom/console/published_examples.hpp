// Printed and published values of the appearance models and of CIEDE2000, and how well the library agrees with them.
#pragma once

#include <likeness/appearance/published_model.hpp>
#include <likeness/color/cie_lab.hpp>

#include <span>
#include <string>

namespace likeness::darkroom {

/// A colour under conditions (average surround, background 20), with its correlates as they are published.
struct PublishedColor {
    const char* source;
    AppearanceModelKind model;
    Xyz color;
    Xyz white;
    double adaptingLuminance;
    Correlates correlates;
    int decimals;     ///< of the correlates but the hue
    int hueDecimals;  ///< of h and H
};

/// Two colours and their CIEDE2000, to four decimals.
struct PublishedPair {
    CieLab first;
    CieLab second;
    double difference;
};

std::span<const PublishedColor> publishedColors();
std::span<const PublishedPair> publishedPairs();

struct Agreement {
    std::string text;  ///< a line for each colour, one for the pairs and a last one
    bool complete;     ///< whether every value agrees and every inverse returns
};

/// Runs the models on the examples. A value agrees if it is off by at most half a unit of the last decimal; by at most
/// one where there are nine decimals, which not every source rounds. The inverse must return X, Y, Z to 1e-9 relative.
Agreement agreementWith(std::span<const PublishedColor> colors, std::span<const PublishedPair> pairs);

}  // namespace likeness::darkroom
