// How often the 95 % intervals of a comparison by tiles hold the coefficients of the population that the tiles are drawn
// from, over REPETITIONS (1,000) made pairs of photographs a row, with up to MOST_ACROSS (16) tiles across and down, whose
// cost grows with their number. Ends with status 1 where an interval lies beside its own coefficient.
#include "comparison/made_tiles.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace {

using likeness::testing::TilePopulation;

constexpr int resamples = 1000;

}  // namespace

int main(int argc, char** argv) {
    const int repetitions = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1000;
    const int mostAcross = argc > 2 ? std::atoi(argv[2]) : 16;
    bool allHold = true;
    std::printf("%-28s %5s %11s %10s %10s %10s\n", "pairs", "tiles", "coefficient", "brightness", "lightness", "width");
    for (const auto& [name, population] : std::initializer_list<std::pair<const char*, TilePopulation>>{
             {"of one distribution", {25, 0, 0, 6, 6}},
             {"shifted by 6 levels", {25, 6, 0.8, 6, 6}},
             {"shifted by 15 levels", {25, 15, 0.5, 6, 9}},
             {"of the same tiles, noisier", {25, 0, 1, 6, 12}}}) {
        for (const int across : {4, 8, 16}) {
            if (across > mostAcross) {
                break;
            }
            const auto coverage = likeness::testing::coverageOf(population, across, repetitions, resamples);
            std::printf("%-28s %5d %11.3f %8.1f %% %8.1f %% %10.3f\n", name, across * across, coverage.truth,
                        100 * coverage.brightness, 100 * coverage.lightness, coverage.meanWidth);
            std::fflush(stdout);
            allHold = allHold && coverage.allHold;
        }
    }
    return allHold ? 0 : 1;
}
