#include <likeness/comparison/explanation.hpp>

#include <likeness/color/white_point.hpp>
#include <likeness/comparison/distances.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace likeness {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

/// The value below which a share of the pixels lies: bins are one wide, and evenly filled.
double quantileOf(const BinProbabilities& distribution, double share) {
    double total = 0;
    for (const auto& [bin, probability] : distribution) {
        total += double{probability};
    }
    double below = 0;
    for (const auto& [bin, probability] : distribution) {
        const double its = double{probability};
        if (below + its >= share * total) {
            return bin - 0.5 + (share * total - below) / its;
        }
        below += its;
    }
    return distribution.empty() ? unknown : distribution.rbegin()->first + 0.5;
}

double shareIn(const BinProbabilities& distribution, BinProbabilities::const_iterator begin,
               BinProbabilities::const_iterator end) {
    double sum = 0;
    for (auto bin = begin; bin != end; ++bin) {
        sum += double{bin->second};
    }
    return distribution.empty() ? unknown : sum;
}

double shareBelow(const BinProbabilities& distribution, int bin) {
    return shareIn(distribution, distribution.begin(), distribution.lower_bound(bin));
}

double shareAbove(const BinProbabilities& distribution, int bin) {
    return shareIn(distribution, distribution.upper_bound(bin), distribution.end());
}

void findCosts(const BinProbabilities& first, const BinProbabilities& second, DistributionChange& change) {
    const auto look = [&change](int bin, double p, double q) {
        const double root = std::sqrt(p) - std::sqrt(q);
        const BinCost cost = {bin, p, q, root * root / 2};
        std::optional<BinCost>& kept = p > q ? change.lost : change.gained;
        if (cost.cost > 0 && (!kept || cost.cost > kept->cost)) {
            kept = cost;
        }
    };
    for (const auto& [bin, p] : first) {
        const auto q = second.find(bin);
        look(bin, double{p}, q == second.end() ? 0 : double{q->second});
    }
    for (const auto& [bin, q] : second) {
        if (first.count(bin) == 0) {
            look(bin, 0, double{q});
        }
    }
}

/// Three significant digits, whatever the locale.
std::string shortNumber(double value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof(text), value, std::chars_format::general, 3).ptr;
    std::string number(text, end);
    if (number.find('e') == std::string::npos) {
        return number == "-0" ? "0" : number;
    }
    // "1.23e+04" is no number for a sentence.
    const auto plain =
        std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, std::abs(value) < 1 ? 6 : 0);
    return plain.ec == std::errc() ? std::string(text, plain.ptr) : number;
}

std::string percent(double share) {
    return shortNumber(100 * share) + " %";
}

std::string decimals(double value, int digits) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, digits).ptr};
}

/// "6.2 lower", "1.5 higher".
std::string shifted(double shift, const char* up, const char* down) {
    return shortNumber(std::abs(shift)) + (shift < 0 ? down : up);
}

std::string sharesOf(const BinCost& cost) {
    return shortNumber(cost.bin) + " (" + percent(cost.firstShare) + " of the first, " + percent(cost.secondShare) +
           " of the second)";
}

ExplainedWhite whiteOf(const PhotographPart& part) {
    part.weights.require("photograph", part.photograph);
    if (part.photograph.empty()) {
        return {{unknown, unknown}, {unknown, unknown}};
    }
    const WhiteEstimate estimate = part.weights.countAll() ? grayWorldWhite(part.photograph) : grayWorldWhite(part);
    if (!estimate.found) {
        return {{unknown, unknown}, {unknown, unknown}};
    }
    const cv::Vec2d xy = estimate.white.chromaticity();
    return {xy, correlatedColorTemperature(xy)};
}

}  // namespace

DistributionChange distributionChange(const BinProbabilities& first, const BinProbabilities& second) {
    DistributionChange change;
    const auto spreadOf = [](const BinProbabilities& distribution) {
        return quantileOf(distribution, 0.75) - quantileOf(distribution, 0.25);
    };
    change.firstMedian = quantileOf(first, 0.5);
    change.secondMedian = quantileOf(second, 0.5);
    change.medianShift = change.secondMedian - change.firstMedian;
    change.firstSpread = spreadOf(first);
    change.secondSpread = spreadOf(second);
    change.spreadChange = change.secondSpread - change.firstSpread;
    change.meanShift = binDistances(first, second).meanShift;
    if (!first.empty()) {
        change.firstLeast = first.begin()->first;
        change.firstGreatest = first.rbegin()->first;
    }
    if (!second.empty()) {
        change.secondLeast = second.begin()->first;
        change.secondGreatest = second.rbegin()->first;
    }
    if (first.empty() || second.empty()) {
        change.gainedBelow = change.gainedAbove = change.lostBelow = change.lostAbove = unknown;
        return change;
    }
    change.gainedBelow = shareBelow(second, change.firstLeast);
    change.gainedAbove = shareAbove(second, change.firstGreatest);
    change.lostBelow = shareBelow(first, change.secondLeast);
    change.lostAbove = shareAbove(first, change.secondGreatest);
    findCosts(first, second, change);
    return change;
}

Explanation explain(const cv::Mat& first, const cv::Mat& second, const AppearanceDistributions& firstDistributions,
                    const AppearanceDistributions& secondDistributions) {
    return explain(PhotographPart{first, {}}, PhotographPart{second, {}}, firstDistributions, secondDistributions);
}

Explanation explain(const PhotographPart& first, const PhotographPart& second,
                    const AppearanceDistributions& firstDistributions,
                    const AppearanceDistributions& secondDistributions) {
    Explanation explanation;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        explanation.changes[k] = distributionChange(firstDistributions[k], secondDistributions[k]);
    }
    explanation.firstWhite = whiteOf(first);
    explanation.secondWhite = whiteOf(second);
    return explanation;
}

std::string sentenceOf(const DistributionChange& change, std::size_t correlate) {
    std::string text = std::string(correlateNames[correlate].name) + ' ' + correlateNames[correlate].symbol + ": ";
    if (std::isnan(change.medianShift)) {
        return text + "a photograph has no pixel with a value.";
    }
    if (!change.lost && !change.gained) {
        return text + "the two distributions are equal (median " + shortNumber(change.firstMedian) + ").";
    }
    text += change.medianShift == 0
                ? "the median is " + shortNumber(change.firstMedian) + " in both"
                : "second is " + shifted(change.medianShift, " higher", " lower") + " in the median (" +
                      shortNumber(change.secondMedian) + " against " + shortNumber(change.firstMedian) + ")";
    text += change.spreadChange == 0
                ? ", its middle half is as wide (" + shortNumber(change.firstSpread) + ")"
                : ", its middle half is " + shifted(change.spreadChange, " wider", " narrower") + " (" +
                      shortNumber(change.secondSpread) + " against " + shortNumber(change.firstSpread) + ")";
    text += ", its mean is " +
            (change.meanShift == 0 ? std::string("the same") : shifted(change.meanShift, " higher", " lower"));
    const auto beyond = [&text](double share, const char* where) {
        if (share > 0) {
            text += "; " + percent(share) + where;
        }
    };
    beyond(change.gainedBelow, " of its pixels are below everything in the first");
    beyond(change.gainedAbove, " of its pixels are above everything in the first");
    beyond(change.lostBelow, " of the first's pixels are below everything in it");
    beyond(change.lostAbove, " of the first's pixels are above everything in it");
    text += ". Costliest bins: ";
    text += change.lost ? "fewer at " + sharesOf(*change.lost) : "none has fewer";
    text += change.gained ? ", more at " + sharesOf(*change.gained) : ", none has more";
    return text + '.';
}

std::string sentenceOf(const ExplainedWhite& first, const ExplainedWhite& second) {
    const auto described = [](const ExplainedWhite& white) {
        if (!std::isfinite(white.chromaticity[0])) {
            return std::string("none found");
        }
        return "x " + decimals(white.chromaticity[0], 4) + ", y " + decimals(white.chromaticity[1], 4) + ", " +
               (std::isfinite(white.nearest.kelvin) ? decimals(white.nearest.kelvin, 0) + " K"
                                                    : std::string("without a correlated colour temperature"));
    };
    return "white (grey world): first " + described(first) + "; second " + described(second) + '.';
}

}  // namespace likeness
