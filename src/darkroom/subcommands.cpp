#include "darkroom/subcommands.hpp"

namespace likeness::darkroom {

const std::vector<Subcommand>& subcommands() {
    static const std::vector<Subcommand> all = {
        {"compare", "Compare two photographs by how they look: five coefficients", declareCompare},
        {"convert", "A picture to another colour space, and back", declareConvert},
        {"white", "The white that a photograph was seen under", declareWhite},
        {"adapt", "A photograph as if seen under D65, or under another one's light", declareAdapt},
        {"align", "Lay a photograph onto another of the same scene along their optical flow", declareAlign},
        {"structure", "Maps of the strength and the coherence of oriented structure", declareStructure},
        {"smooth", "Smooth an image without crossing the edges of a guide", declareSmooth},
        {"transfer", "The palette of one photograph on another, by optimal transport", declareTransfer},
        {"completion", "Print a script that completes this command line in a shell", declareCompletion, false},
        {"manual", "Print the man page, in the language of man", declareManual, false},
    };
    return all;
}

}  // namespace likeness::darkroom
