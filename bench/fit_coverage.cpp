// How often the 95 % intervals of fitted score models hold the truth, over 1,000 made sets of scores a form: of each
// parameter, and of the prediction of new scores. Ends with status 1 where a share is outside 93 to 97 %.
#include <likeness/fit/score_model.hpp>
#include "fit/made_scores.hpp"

#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

using namespace likeness;

struct Case {
    ScoreForm form;
    std::function<double(double, double)> truth;
    std::vector<double> parameters;
};

constexpr int repetitions = 1000;
constexpr std::size_t rows = 200;
constexpr double deviation = 0.15;

bool report(const char* form, const char* what, double share) {
    const bool good = share >= 0.93 && share <= 0.97;
    std::printf("%-10s %-12s %.1f %%%s\n", form, what, 100 * share, good ? "" : "  outside 93 to 97 %");
    return good;
}

bool covered(const Case& its) {
    std::vector<int> held(its.parameters.size());
    int predicted = 0;
    std::vector<std::string> names;
    for (int k = 0; k < repetitions; ++k) {
        const auto seed = static_cast<std::uint64_t>(k);
        FitOptions options;
        options.form = its.form;
        const ScoreModel model = fitScores(testing::madeRows(rows, deviation, 2 * seed, its.truth), options);
        names.clear();
        for (std::size_t p = 0; p < held.size(); ++p) {
            held[p] += model.parameters[p].estimate.covers(its.parameters[p]) ? 1 : 0;
            names.push_back(model.parameters[p].name);
        }
        const ScoredRows fresh = testing::madeRows(1, deviation, 2 * seed + 1, its.truth);
        const ScorePrediction prediction = predictScore(model, {fresh.columns[0][0], fresh.columns[1][0]});
        predicted += prediction.low <= fresh.scores[0] && fresh.scores[0] <= prediction.high ? 1 : 0;
    }
    bool good = true;
    for (std::size_t p = 0; p < held.size(); ++p) {
        good = report(nameOf(its.form), names[p].c_str(), static_cast<double>(held[p]) / repetitions) && good;
    }
    return report(nameOf(its.form), "prediction", static_cast<double>(predicted) / repetitions) && good;
}

}  // namespace

int main() {
    const auto rise = [](double x, double y) { return 1 / (1 + std::exp(-((x + y) / 2 - 0.6) / 0.08)); };
    const Case cases[] = {
        {ScoreForm::linear, [](double x, double y) { return 1 + 2 * x - 3 * y; }, {1, 2, -3}},
        {ScoreForm::logistic4, [&](double x, double y) { return 1 + 4 * rise(x, y); }, {5, 1, 0.6, 0.08}},
        {ScoreForm::logistic5,
         [&](double x, double y) { return 6 * (rise(x, y) - 0.5) + 1.5 * (x + y) / 2 + 3; },
         {6, 1 / 0.08, 0.6, 1.5, 3}},
        {ScoreForm::product,
         [](double x, double y) { return 1 + 4 * std::pow(x, 0.8) * std::pow(y, 1.5); },
         {1, 4, 0.8, 1.5}}};
    bool good = true;
    for (const Case& its : cases) {
        good = covered(its) && good;
    }
    return good ? 0 : 1;
}
