#include "darkroom/subcommands.hpp"

namespace likeness::darkroom {

const std::vector<Subcommand>& subcommands() {
    static const std::vector<Subcommand> all = {
        {"compare", "Compare two photographs by how they look: five coefficients", declareCompare},
        {"appearance", "Maps of how bright, light, colourful, saturated and of what hue an image looks",
         declareAppearance},
        {"structure", "Maps of the strength and the coherence of oriented structure", declareStructure},
    };
    return all;
}

}  // namespace likeness::darkroom
