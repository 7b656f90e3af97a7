#include "console/comparison_warnings.hpp"

#include "batch/comparison_remarks.hpp"
#include "files/refusal.hpp"

namespace likeness::darkroom {

void warnOfModel(const Console& console, const ChosenModel& model) {
    for (const std::string& remark : model.remarks) {
        console.warn(remark);
    }
}

void warnOfBlack(const Console& console, const std::string& path, const AppearanceDistributions& distributions) {
    const std::string black = blackRemark(distributions);
    if (!black.empty()) {
        console.warn("'" + path + "': " + black);
    }
}

void checkAppearance(const Console& console, const std::string& path, const AppearanceDistributions& distributions) {
    const std::string problem = appearanceProblem(distributions);
    if (!problem.empty()) {
        throw Refusal("cannot read '" + path + "'" + problem);
    }
    const std::string uncounted = uncountedRemark(distributions);
    if (!uncounted.empty()) {
        console.warn("'" + path + "': " + uncounted);
    }
    warnOfBlack(console, path, distributions);
}

}  // namespace likeness::darkroom
