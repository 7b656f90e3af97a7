// Correlations and fits against SciPy, where it is installed.
#include <likeness/fit/agreement.hpp>
#include <likeness/fit/score_model.hpp>

#include "fit/made_scores.hpp"
#include "fit/student_t.hpp"
#include "support/needed_package.hpp"
#include "support/process.hpp"
#include "support/scratch_directory.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace likeness::testing {
namespace {

std::string text(double value) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.17g", value);
    return digits;
}

std::string listOf(const std::vector<double>& values) {
    std::string list = "[";
    for (const double value : values) {
        list += text(value) + ",";
    }
    return list + "]";
}

class SciPy : public ::testing::Test {
protected:
    void SetUp() override {
        if (run({"/usr/bin/python3", "-c", "import scipy.stats, scipy.optimize"}, folder_.path()).status != 0) {
            SKIP_WITHOUT_PACKAGE("python3-scipy is not installed");
        }
    }

    std::vector<double> numbersOf(const std::string& script) const {
        std::ofstream(folder_.path() / "script.py") << script;
        const Outcome outcome = run({"/usr/bin/python3", "-W", "ignore", "script.py"}, folder_.path());
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        std::istringstream in(outcome.out);
        std::vector<double> numbers;
        for (double number = 0; in >> number;) {
            numbers.push_back(number);
        }
        return numbers;
    }

private:
    ScratchDirectory folder_;
};

TEST_F(SciPy, CorrelationsAndStudentsTAreTheSame) {
    Normal normal(17);
    std::string script = "from scipy import stats\n";
    std::vector<double> own;
    for (const int steps : {0, 5, 40}) {  // 0: without ties
        std::vector<double> x;
        std::vector<double> y;
        for (int i = 0; i < 400; ++i) {
            const double value = normal();
            const double other = value + normal();
            x.push_back(steps == 0 ? value : std::round(value * steps) / steps);
            y.push_back(steps == 0 ? 1000 + other : std::round(other * steps) / steps);
        }
        own.insert(own.end(), {pearsonCorrelation(x, y), spearmanCorrelation(x, y), kendallCorrelation(x, y)});
        script += "x, y = " + listOf(x) + ", " + listOf(y) +
                  "\nfor f in (stats.pearsonr, stats.spearmanr, stats.kendalltau): print(repr(float(f(x, y)[0])))\n";
    }
    for (const double degrees : {1.0, 3.5, 30.0, 4000.0}) {
        own.push_back(studentTwoSided(1.7, degrees));
        own.push_back(studentLimit(0.95, degrees));
        script += "print(repr(float(2 * stats.t.sf(1.7, " + text(degrees) + "))), repr(float(stats.t.ppf(0.975, " +
                  text(degrees) + "))))\n";
    }
    const std::vector<double> theirs = numbersOf(script);
    ASSERT_EQ(theirs.size(), own.size());
    for (std::size_t k = 0; k < own.size(); ++k) {
        // Behind the nine correlations, every second number is a limit, of which theirs has some ten digits.
        const double tolerance = k > 9 && k % 2 == 0 ? 1e-9 : 1e-12;
        EXPECT_NEAR(own[k], theirs[k], tolerance * std::max(1.0, std::abs(theirs[k]))) << k;
    }
}

TEST_F(SciPy, LogisticFitsAreTheSame) {
    if (!canFitCurves()) {
        SKIP_WITHOUT_PACKAGE("the module ceres was not built");
    }
    struct Case {
        ScoreForm form;
        const char* function;
        std::vector<double> start;
    };
    const Case cases[] = {
        {ScoreForm::logistic4, "p[1] + (p[0] - p[1]) / (1 + np.exp(-(x - p[2]) / abs(p[3])))", {5, 1, 0.6, 0.1}},
        {ScoreForm::logistic5,
         "p[0] * (0.5 - 1 / (1 + np.exp(p[1] * (x - p[2])))) + p[3] * x + p[4]",
         {4, 10, 0.6, 0.1, 3}}};
    for (const Case& its : cases) {
        ScoredRows rows =
            madeRows(150, 0.2, 23, [](double x, double) { return 1 + 4 / (1 + std::exp(-(x - 0.6) / 0.06)); });
        rows.features.pop_back();
        rows.columns.pop_back();
        FitOptions options;
        options.form = its.form;
        const ScoreModel model = fitScores(rows, options);
        const std::vector<double> theirs =
            numbersOf("import numpy as np\nfrom scipy.optimize import least_squares\nx = np.array(" +
                      listOf(rows.columns[0]) + ")\ny = np.array(" + listOf(rows.scores) +
                      ")\nf = lambda p: " + its.function + " - y\nr = least_squares(f, " + listOf(its.start) +
                      ", jac='3-point', method='lm', ftol=1e-15, xtol=1e-15, gtol=1e-15)\n"
                      "for v in r.x: print(repr(float(v)))\nprint(repr(float(2 * r.cost)))\n"
                      "s = 2 * r.cost / (len(x) - len(r.x))\n"
                      "for v in np.sqrt(s * np.diag(np.linalg.inv(r.jac.T @ r.jac))): print(repr(float(v)))\n");
        const std::size_t count = model.parameters.size();
        ASSERT_EQ(theirs.size(), 2 * count + 1);
        const double limit = studentLimit(0.95, 150.0 - static_cast<double>(count));
        for (std::size_t k = 0; k < count; ++k) {
            const Estimate& own = model.parameters[k].estimate;
            const double size = std::max(1.0, std::abs(theirs[k]));
            EXPECT_NEAR(own.value, theirs[k], 1e-6 * size) << nameOf(its.form) << ' ' << k;
            // Their Jacobian is by differences.
            EXPECT_NEAR((own.high - own.low) / 2, limit * theirs[count + 1 + k], 1e-4 * limit * theirs[count + 1 + k]);
        }
        const double squares = std::pow(model.residualDeviation, 2) * model.degreesOfFreedom;
        EXPECT_NEAR(squares, theirs[count], 1e-9 * theirs[count]);
    }
}

}  // namespace
}  // namespace likeness::testing
