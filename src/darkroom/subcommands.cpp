#include "darkroom/subcommands.hpp"

namespace likeness::darkroom {

const std::vector<Subcommand>& subcommands() {
    static const std::vector<Subcommand> all = {
        {"compare", "Compare two photographs by how they look: five coefficients", declareCompare},
        {"convert", "A picture to another colour space, and back", declareConvert},
        {"white", "The white that a photograph was seen under", declareWhite},
        {"adapt", "A photograph as if seen under D65, or under another one's light", declareAdapt},
        {"structure", "Maps of the strength and the coherence of oriented structure", declareStructure},
        {"transfer", "The palette of one photograph on another, by optimal transport", declareTransfer},
    };
    return all;
}

}  // namespace likeness::darkroom
