#include "console/score_prediction.hpp"

#include "console/option_checks.hpp"

namespace likeness::darkroom {

void addPredictOption(CLI::App& app, std::string& path) {
    app.add_option(
           "--predict", path,
           optionText("Model of darkroom fit: give the opinion score that it predicts, its interval, and whether "
                      "the photographs are outside the range that it was fitted to",
                      "--predict model.json"))
        ->type_name("MODEL.json");
}

}  // namespace likeness::darkroom
