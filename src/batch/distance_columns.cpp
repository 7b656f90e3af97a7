#include "batch/distance_columns.hpp"

#include "files/number_format.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace likeness {
namespace {

struct DistanceName {
    const char* name;
    double BinDistances::*value;
};

constexpr std::array<DistanceName, 4> distanceNames = {{{"wasserstein", &BinDistances::wasserstein},
                                                        {"mean_shift", &BinDistances::meanShift},
                                                        {"kolmogorov_smirnov", &BinDistances::kolmogorovSmirnov},
                                                        {"jensen_shannon_bits", &BinDistances::jensenShannon}}};

/// Place of a column among the names; their number where it is none.
std::size_t placeOf(const std::string& column) {
    const std::vector<std::string>& names = distanceColumns();
    return static_cast<std::size_t>(std::find(names.begin(), names.end(), column) - names.begin());
}

}  // namespace

const std::vector<std::string>& distanceColumns() {
    static const std::vector<std::string> columns = [] {
        std::vector<std::string> names;
        for (const CorrelateName& correlate : correlateNames) {
            for (const DistanceName& distance : distanceNames) {
                names.push_back(std::string(correlate.name) + '_' + distance.name);
            }
        }
        return names;
    }();
    return columns;
}

std::vector<double> distanceValues(const PairDistances& distances) {
    std::vector<double> values;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        for (const DistanceName& distance : distanceNames) {
            values.push_back(distances[k].*distance.value);
        }
    }
    return values;
}

std::string distanceText(double value) {
    return std::isnan(value) ? "" : nineDigits(value);
}

void carryDistances(ResultRecord& record, CarriedValue::Kind kind) {
    const auto& distances = record.outcome.distances;
    const std::vector<double> values =
        distances ? distanceValues(*distances)
                  : std::vector<double>(distanceColumns().size(), std::numeric_limits<double>::quiet_NaN());
    for (std::size_t k = 0; k < values.size(); ++k) {
        record.carried.push_back(
            {distanceColumns()[k], std::isnan(values[k]) ? CarriedValue::Kind::absent : kind, distanceText(values[k])});
    }
}

bool carriesDistances(const ResultRecord& record) {
    return !record.carried.empty() && placeOf(record.carried.back().column) < distanceColumns().size();
}

void takeDistances(ResultRecord& record) {
    PairDistances distances;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        for (const DistanceName& distance : distanceNames) {
            distances[k].*distance.value = std::numeric_limits<double>::quiet_NaN();
        }
    }
    bool any = false;
    while (carriesDistances(record)) {
        const std::size_t place = placeOf(record.carried.back().column);
        const std::string& text = record.carried.back().text;
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        if (end != text.c_str() && *end == '\0') {
            distances[place / distanceNames.size()].*distanceNames[place % distanceNames.size()].value = value;
            any = true;
        }
        record.carried.pop_back();
    }
    if (any) {
        record.outcome.distances = distances;
    }
}

}  // namespace likeness
