#include "commands/subcommands.hpp"

namespace likeness::darkroom {

const std::vector<Subcommand>& subcommands() {
    static const std::vector<Subcommand> all = {
        {"compare", "Compare two photographs by how they look: five coefficients", declareCompare},
        {"info", "What photographs hold, how they would be read, or why they cannot be", declareInfo, true, false},
        {"appearance", "Maps of brightness, lightness, chroma, colourfulness, saturation and hue", declareAppearance},
        {"sweep", "Compare two photographs under a range of viewing conditions", declareSweep},
        {"colour", "Single colours through a published appearance model, forward and back", declareColour, false, false,
         "color"},
        {"conditions", "The viewing conditions there are by name, and what follows from them", declareConditions, false,
         false},
        {"convert", "A picture to another colour space, and back", declareConvert},
        {"white", "The white that a photograph was seen under", declareWhite},
        {"adapt", "A photograph as if seen under D65, or under another one's light", declareAdapt},
        {"brighten", "Six versions of a photograph in another brightness, of the same chroma and hue", declareBrighten},
        {"tint", "Give a flash photograph the colours of the photograph without flash", declareTint},
        {"stack", "Exposures of a scene from a flash and a no-flash photograph, merged and fused", declareStack},
        {"fuse", "Camera response, radiance, tone-mapped and fused picture of a bracket", declareFuse},
        {"match-brightness", "Give a photograph the mean and the spread of another one's lightness",
         declareMatchBrightness},
        {"align", "Lay a photograph onto another of the same scene along their optical flow", declareAlign},
        {"structure", "Maps of the strength and the coherence of oriented structure", declareStructure},
        {"smooth", "Smooth an image without crossing the edges of a guide", declareSmooth},
        {"transfer", "The palette of one photograph on another, by optimal transport", declareTransfer},
        {"batch", "Compare many pairs of photographs, recording every result", declareBatch, true, false},
        {"index", "Analyse photographs once, into an archive that search and pairs compare", declareIndex, true, false},
        {"search", "The photographs of an archive that look most like one", declareSearch},
        {"pairs", "The pairs of an archive that look alike, and groups of them", declarePairs},
        {"repair", "What can be read of a damaged archive, as an archive", declareRepair, true, false},
        {"merge", "Join the results of shards, or their archives, into one file", declareMerge, true, false},
        {"verify", "Report missing, duplicate and failed pairs, or what is damaged of an archive", declareVerify, true,
         false},
        {"report", "A page of the results of a batch: distributions, scatter, table, failures", declareReport, true,
         false},
        {"fit", "Predict opinion scores from the results of comparisons", declareFit},
        {"selftest", "Run the published examples of the appearance models; exit status 1 where a value differs",
         declareSelftest, false, false},
        {"completion", "Print a script that completes this command line in a shell", declareCompletion, false, false,
         nullptr, true},
        {"manual", "Print the man page, in the language of man", declareManual, false, false, nullptr, true},
    };
    return all;
}

}  // namespace likeness::darkroom
