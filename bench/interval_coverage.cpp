// How often the 95 % intervals of a comparison by tiles hold the coefficients of the population that the tiles are drawn
// from, over 1,000 made pairs of photographs a row. Ends with status 1 where an interval lies beside its own coefficient.
#include "comparison/made_tiles.hpp"

#include <cstdio>
#include <initializer_list>
#include <utility>

namespace {

using likeness::testing::TilePopulation;

constexpr int repetitions = 1000;
constexpr int resamples = 1000;

}  // namespace

int main() {
    bool allHold = true;
    std::printf("%-28s %5s %11s %10s %10s %10s\n", "pairs", "tiles", "coefficient", "brightness", "lightness", "width");
    for (const auto& [name, population] : std::initializer_list<std::pair<const char*, TilePopulation>>{
             {"of one distribution", {25, 0, 0, 6, 6}},
             {"shifted by 6 levels", {25, 6, 0.8, 6, 6}},
             {"shifted by 15 levels", {25, 15, 0.5, 6, 9}},
             {"of the same tiles, noisier", {25, 0, 1, 6, 12}}}) {
        for (const int across : {4, 8, 16}) {
            const auto coverage = likeness::testing::coverageOf(population, across, repetitions, resamples);
            std::printf("%-28s %5d %11.3f %8.1f %% %8.1f %% %10.3f\n", name, across * across, coverage.truth,
                        100 * coverage.brightness, 100 * coverage.lightness, coverage.meanWidth);
            std::fflush(stdout);
            allHold = allHold && coverage.allHold;
        }
    }
    return allHold ? 0 : 1;
}
