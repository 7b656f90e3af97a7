// Parts of photographs as text: what the command line and Python take.
#pragma once

#include "photofile/part_choice.hpp"

#include <string>

namespace likeness {

/// "use", "ignore" or "over COLOUR", with white, black, #rrggbb or R,G,B of 0 to 255 for the colour; of an empty text the
/// default, `dropped`.
/// @throws Refusal  for other texts
AlphaChoice alphaIn(const std::string& text);

/// "0,0,50%,50%", "ellipse:100,100,200,300": x, y, width and height, in pixels or in percent of the photograph.
/// @throws Refusal  for other texts
RegionChoice regionIn(const std::string& text);

}  // namespace likeness
