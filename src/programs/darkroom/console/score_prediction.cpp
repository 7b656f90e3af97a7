#include "console/score_prediction.hpp"

#include "console/option_checks.hpp"

namespace likeness::darkroom {

void addPredictOption(OptionParser& app, std::string& path) {
    app.addOption(
           "--predict", path,
           optionText("Model of darkroom fit: give the opinion score that it predicts, its interval, and whether "
                      "the photographs are outside the range that it was fitted to",
                      "--predict model.json"))
        ->typeName("MODEL.json");
}

}  // namespace likeness::darkroom
