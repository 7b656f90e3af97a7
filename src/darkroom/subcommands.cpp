#include "darkroom/subcommands.hpp"

namespace likeness::darkroom {

const std::vector<Subcommand>& subcommands() {
    static const std::vector<Subcommand> all = {
        {"compare", "Compare two photographs by how they look: five coefficients", declareCompare},
        {"appearance", "Maps of how bright, light, colourful, saturated and of what hue an image looks",
         declareAppearance},
        {"structure", "Maps of the strength and the coherence of oriented structure", declareStructure},
        {"batch", "Compare many pairs of photographs, recording every result", declareBatch},
        {"merge", "Join the results of shards into one file in the order of the list", declareMerge},
        {"verify", "Tell what results of a batch lack against its list", declareVerify},
        {"report", "A page of the results of a batch: distributions, scatter, table, failures", declareReport},
    };
    return all;
}

}  // namespace likeness::darkroom
