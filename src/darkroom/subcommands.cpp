#include "darkroom/subcommands.hpp"

namespace likeness::darkroom {

const std::vector<Subcommand>& subcommands() {
    static const std::vector<Subcommand> all = {
        {"compare", "Compare two photographs by how they look: five coefficients", declareCompare},
        {"brighten", "Six versions of a photograph in another brightness, of the same chroma and hue", declareBrighten},
        {"tint", "Give a flash photograph the colours of the photograph without flash", declareTint},
        {"stack", "Exposures of a scene from a flash and a no-flash photograph, merged and fused", declareStack},
        {"fuse", "Camera response, radiance, tone-mapped and fused picture of a bracket", declareFuse},
        {"match-brightness", "Give a photograph the mean and the spread of another one's lightness",
         declareMatchBrightness},
        {"structure", "Maps of the strength and the coherence of oriented structure", declareStructure},
    };
    return all;
}

}  // namespace likeness::darkroom
