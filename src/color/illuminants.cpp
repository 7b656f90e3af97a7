#include <likeness/color/illuminants.hpp>

#include <stdexcept>

namespace likeness {

Chromaticity daylightChromaticity(double kelvin) {
    if (!(kelvin >= 4000 && kelvin <= 25000)) {
        throw std::invalid_argument("a phase of daylight has a temperature from 4000 to 25000 K");
    }
    const double t = 1e3 / kelvin;
    const double x = kelvin <= 7000 ? ((-4.6070 * t + 2.9678) * t + 0.09911) * t + 0.244063
                                    : ((-2.0064 * t + 1.9018) * t + 0.24748) * t + 0.237040;
    return {x, (-3.000 * x + 2.870) * x - 0.275};
}

Chromaticity planckianChromaticity(double kelvin) {
    if (!(kelvin >= 1000 && kelvin <= 15000)) {
        throw std::invalid_argument("a black body is given by a temperature from 1000 to 15000 K");
    }
    const double t = kelvin;
    const double u =
        (0.860117757 + (1.54118254e-4 + 1.28641212e-7 * t) * t) / (1 + (8.42420235e-4 + 7.08145163e-7 * t) * t);
    const double v =
        (0.317398726 + (4.22806245e-5 + 4.20481691e-8 * t) * t) / (1 + (-2.89741816e-5 + 1.61456053e-7 * t) * t);
    const double sum = 2 * u - 8 * v + 4;
    return {3 * u / sum, 2 * v / sum};
}

}  // namespace likeness
