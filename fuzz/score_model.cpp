// Models of opinion scores.
#include "files/refusal.hpp"
#include "harness.hpp"
#include "scores/score_model_file.hpp"

#include <cmath>

using namespace likeness;
using namespace likeness::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    StoredScoreModel stored;
    try {
        stored = scoreModelIn("--predict", "a model", textOf(data, size));
    } catch (const Refusal&) {
        return 0;
    }
    const ScoreModel& model = stored.model;
    require(model.features.size() == model.ranges.size(), "each feature has its range");
    std::vector<double> values;
    for (const FeatureRange& range : model.ranges) {
        values.push_back(range.low);
    }
    const ScorePrediction prediction = predictScore(model, values);
    require(!prediction.outside, "the ends of a range are not outside of it");
    require(std::isnan(prediction.low) || std::isnan(prediction.high) || prediction.low <= prediction.high,
            "an interval has its ends in order");
    return 0;
}
