// darkroom compare: five coefficients that say how alike two photographs look.
#include <iostream>
#include <memory>
#include <sstream>

#include "app/photograph_comparison.hpp"
#include "darkroom/image_input.hpp"
#include "darkroom/progress.hpp"
#include "darkroom/subcommands.hpp"

namespace likeness::darkroom {
namespace {

struct Options {
    std::string first;
    std::string second;
};

ExitStatus compare(const Session& session, const Options& options) {
    const cv::Mat first = readPhotographBytes(session, options.first);
    const cv::Mat second = readPhotographBytes(session, options.second);
    LikenessCoefficients coefficients{};
    {
        const Progress progress(session, "comparing");
        coefficients = comparePhotographs(first, second, session.diagnostics());
    }
    std::ostringstream line;
    line << coefficients.brightness << ',' << coefficients.lightness << ',' << coefficients.chroma << ','
         << coefficients.colorfulness << ',' << coefficients.saturation << '\n';
    std::cout << line.str();
    return ExitStatus::done;
}

}  // namespace

Action declareCompare(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("FIRST", options->first, "Photograph")->required();
    app.add_option("SECOND", options->second, "Photograph to compare it with")->required();
    return [options](const Session& session) { return compare(session, *options); };
}

}  // namespace likeness::darkroom
