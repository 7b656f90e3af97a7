// Which part of a photograph counts, on the command line.
#pragma once

#include "console/option_parser.hpp"

#include <likeness/color/pixel_weights.hpp>
#include "photofile/part_choice.hpp"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>
#include <vector>

namespace likeness::darkroom {

/// What the options say, as it was typed; empty where nothing was.
struct PartOptions {
    std::string mask;
    std::string firstMask;   ///< of the first of two photographs
    std::string secondMask;  ///< of the second
    std::string alpha;
    std::vector<std::string> regions;
    bool centerWeighted = false;

    /// Files that are read; some may be empty.
    std::vector<std::string> files() const { return {mask, firstMask, secondMask}; }
};

/// Adds --mask, --alpha, --region and --center-weighted.
void addPartOptions(OptionParser& app, PartOptions& options);

/// Adds a mask for one of two photographs.
/// @param name  of the option, "--first-mask"
/// @param what  it is for, "the first photograph"
void addMaskOption(OptionParser& app, const std::string& name, std::string& mask, const std::string& what);

/// Adds --alpha, --region and --center-weighted: for lists, which have masks in their columns.
void addPartOptionsWithoutMask(OptionParser& app, PartOptions& options);

/// What the options ask for of one photograph, the only one.
/// @throws Refusal  for a region, a colour or a word that is none
PartChoice chosenPart(const PartOptions& options);

/// The same of two photographs; a mask of its own takes the place of the one for both.
std::pair<PartChoice, PartChoice> chosenParts(const PartOptions& options);

/// What counted of a photograph, for results.
/// @param pixels  of the photograph
nlohmann::ordered_json jsonOfPart(const PartChoice& choice, double countedPixels, double pixels);

/// "x: 1234 of 5678 pixels count (21.7 %)" with the path for x.
std::string lineOfPart(const std::string& path, double countedPixels, double pixels);

/// The words of a command line, in which "--alpha over COLOUR" has become two of its three.
std::vector<std::string> withColorsOfAlpha(int argc, const char* const* argv);

}  // namespace likeness::darkroom
