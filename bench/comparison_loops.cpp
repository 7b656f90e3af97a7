// Each loop of the comparison on a photograph-like picture, beside its literal version, in pixels per second. A case
// first checks that both give the same answer.
#include <likeness/likeness.hpp>
#include "comparison/photograph_counts.hpp"
#include "diagnostics/number_text.hpp"
#include "photograph_pair.hpp"
#include "reference/adaptation_reference.hpp"
#include "reference/appearance_reference.hpp"
#include "reference/color_reference.hpp"
#include "reference/metrics_reference.hpp"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <string>

namespace {

using likeness::dropAll;
namespace literal = likeness::reference;

/// Everything that the chain computes for one picture, so that each loop can run on real inputs.
struct Chain {
    explicit Chain(cv::Size size)
        : photograph(likeness::bench::photographLike("coffee.jpg", size, 1)),
          bgr(size, CV_32FC3),
          xyz(size, CV_32FC3),
          sharpened(size, CV_32FC3),
          hpe(size, CV_32FC3),
          nl(size, CV_32FC3),
          a(size, CV_32F),
          b(size, CV_32F),
          hue(size, CV_32F),
          eccentricity(size, CV_32F),
          A(size, CV_32F),
          J(size, CV_32F),
          Q(size, CV_32F),
          C(size, CV_32F),
          M(size, CV_32F),
          s(size, CV_32F),
          FL(size, CV_32F, cv::Scalar(likeness::computeFl(20))),
          n(size, CV_32F, cv::Scalar(0.2F)),
          Ncb(size, CV_32F, cv::Scalar(likeness::computeNcb(20, 100))),
          z(size, CV_32F, cv::Scalar(likeness::computeZ(20, 100))) {
        likeness::normImg(photograph, bgr);
        likeness::convertBGRToXYZDirect(bgr, xyz);
        likeness::convertXYZtoSharpenedBGR(xyz, sharpened);
        cv::Mat adapted = sharpened.clone();
        likeness::iCAMCATByD65(adapted, adapted, xyz);
        adapted *= 100;
        likeness::convertSharpenedBGRtoHPE(adapted, hpe);
        likeness::computeNonLinearities(hpe, nl, FL);
        likeness::computeAB(nl, a, b);
        likeness::computeHue(a, b, hue, eccentricity);
        Aw = likeness::computeLightness(nl, Ncb, z, J, A, dropAll());
        likeness::computeBrightness(J, FL, z, Q, Aw, dropAll());
        likeness::computeChroma(nl, a, b, J, eccentricity, Ncb, n, C, 0.8F, dropAll());
        likeness::computeColorfulness(C, FL, M);
        likeness::computeSaturation(M, Q, s);
    }

    cv::Mat photograph, bgr, xyz, sharpened, hpe, nl, a, b, hue, eccentricity, A, J, Q, C, M, s, FL, n, Ncb, z;
    float Aw = 0;
};

using Loop = std::function<cv::Mat(Chain&)>;

struct Pair {
    const char* name;
    Loop library;
    Loop literal;
};

cv::Mat like(const cv::Mat& image) {
    return {image.size(), image.type()};
}

const std::vector<Pair>& pairs() {
    static const std::vector<Pair> all = {
        {"normImg",
         [](Chain& c) {
             likeness::normImg(c.photograph, c.bgr);
             return c.bgr;
         },
         [](Chain& c) {
             cv::Mat out = like(c.bgr);
             literal::normImg(c.photograph, out);
             return out;
         }},
        {"convertBGRToXYZDirect",
         [](Chain& c) {
             likeness::convertBGRToXYZDirect(c.bgr, c.xyz);
             return c.xyz;
         },
         [](Chain& c) {
             cv::Mat out = like(c.xyz);
             literal::convertBGRToXYZDirect(c.bgr, out);
             return out;
         }},
        {"convertXYZToBGRDirect",
         [](Chain& c) {
             cv::Mat out = like(c.bgr);
             likeness::convertXYZToBGRDirect(c.xyz, out);
             return out;
         },
         [](Chain& c) {
             cv::Mat out = like(c.bgr);
             literal::convertXYZToBGRDirect(c.xyz, out);
             return out;
         }},
        {"convertXYZtoSharpenedBGR",
         [](Chain& c) {
             likeness::convertXYZtoSharpenedBGR(c.xyz, c.sharpened);
             return c.sharpened;
         },
         [](Chain& c) {
             cv::Mat out = like(c.xyz);
             literal::convertXYZtoSharpenedBGR(c.xyz, out);
             return out;
         }},
        {"iCAMCATByD65",
         [](Chain& c) {
             cv::Mat out = c.sharpened.clone();
             likeness::iCAMCATByD65(out, out, c.xyz);
             return out;
         },
         [](Chain& c) {
             cv::Mat out = c.sharpened.clone();
             literal::iCAMCATByD65(out, out);
             return out;
         }},
        {"computeNonLinearities",
         [](Chain& c) {
             likeness::computeNonLinearities(c.hpe, c.nl, c.FL);
             return c.nl;
         },
         [](Chain& c) {
             cv::Mat out = like(c.nl);
             literal::computeNonLinearities(c.hpe, out, c.FL);
             return out;
         }},
        {"computeHue",
         [](Chain& c) {
             likeness::computeHue(c.a, c.b, c.hue, c.eccentricity);
             return c.eccentricity;
         },
         [](Chain& c) {
             cv::Mat hue = like(c.hue);
             cv::Mat out = like(c.eccentricity);
             literal::computeHue(c.a, c.b, hue, out);
             return out;
         }},
        {"computeChroma",
         [](Chain& c) {
             likeness::computeChroma(c.nl, c.a, c.b, c.J, c.eccentricity, c.Ncb, c.n, c.C, 0.8F, dropAll());
             return c.C;
         },
         [](Chain& c) {
             cv::Mat out = like(c.C);
             literal::computeChroma(c.nl, c.a, c.b, c.J, c.eccentricity, c.Ncb, c.n, out, 0.8F);
             return out;
         }},
        {"computeSaturation",
         [](Chain& c) {
             likeness::computeSaturation(c.M, c.Q, c.s);
             return c.s;
         },
         [](Chain& c) {
             cv::Mat out = like(c.s);
             literal::computeSaturation(c.M, c.Q, out);
             return out;
         }},
        {"writeIntoFile",
         [](Chain& c) {
             likeness::writeIntoFile(c.Q, "10_in.txt", c.Q.rows, c.Q.cols);
             return c.Q;
         },
         [](Chain& c) {
             literal::writeIntoFile(c.Q, "10_in.txt", c.Q.rows, c.Q.cols);
             return c.Q;
         }},
        {"getBhattacharyaCoeff",
         [](Chain& c) { return cv::Mat(1, 1, CV_32F, cv::Scalar(likeness::getBhattacharyaCoeff(c.Q, c.J))); },
         [](Chain& c) { return cv::Mat(1, 1, CV_32F, cv::Scalar(literal::getBhattacharyaCoeff(c.Q, c.J))); }},
    };
    return all;
}

bool sameBytes(const cv::Mat& a, const cv::Mat& b) {
    return a.size() == b.size() && a.type() == b.type() && std::memcmp(a.data, b.data, a.total() * a.elemSize()) == 0;
}

void setPixels(benchmark::State& state, const cv::Mat& image) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(image.total()));
}

void addCases(const std::string& size, const std::shared_ptr<Chain>& chain, bool withLiteral) {
    for (const Pair& pair : pairs()) {
        benchmark::RegisterBenchmark((std::string(pair.name) + "/library/" + size).c_str(),
                                     [&pair, chain, withLiteral](benchmark::State& state) {
                                         if (withLiteral && !sameBytes(pair.library(*chain), pair.literal(*chain))) {
                                             state.SkipWithError("the library and the literal version differ");
                                             return;
                                         }
                                         for (auto _ : state) {
                                             benchmark::DoNotOptimize(pair.library(*chain).data);
                                         }
                                         setPixels(state, chain->photograph);
                                     })
            ->Unit(benchmark::kMillisecond);
        if (withLiteral) {
            benchmark::RegisterBenchmark((std::string(pair.name) + "/literal/" + size).c_str(),
                                         [&pair, chain](benchmark::State& state) {
                                             for (auto _ : state) {
                                                 benchmark::DoNotOptimize(pair.literal(*chain).data);
                                             }
                                             setPixels(state, chain->photograph);
                                         })
                ->Unit(benchmark::kMillisecond);
        }
    }
}

/// The parts of the road over the distinct colours, which have no literal counterpart of their own.
void addColorCases(const std::string& size, const std::shared_ptr<cv::Mat>& photograph) {
    const auto add = [&](const std::string& name, auto body) {
        benchmark::RegisterBenchmark((name + "/" + size).c_str(), [photograph, body](benchmark::State& state) {
            body(state, *photograph);
            setPixels(state, *photograph);
        })->Unit(benchmark::kMillisecond);
    };
    for (const bool withIndices : {false, true}) {
        add(withIndices ? "ColorCounter/counts and indices" : "ColorCounter/counts",
            [withIndices](benchmark::State& state, const cv::Mat& image) {
                likeness::ColorCounter counter;
                std::size_t colors = 0;
                for (auto _ : state) {
                    colors = counter.count(image, withIndices).counts.size();
                }
                state.counters["colors"] = static_cast<double>(colors);
            });
    }
    add("expandColors", [](benchmark::State& state, const cv::Mat& image) {
        likeness::ColorCounter counter;
        const likeness::DistinctColors colors = counter.count(image, true);
        if (!sameBytes(likeness::expandColors(colors.bgr, colors.indices), image)) {
            state.SkipWithError("the expanded colours are not the photograph");
        }
        cv::Mat plane;
        cv::extractChannel(colors.bgr, plane, 1);
        cv::Mat expanded;
        for (auto _ : state) {
            expanded = likeness::expandColors(plane, colors.indices, std::move(expanded));
            benchmark::DoNotOptimize(expanded.data);
        }
    });
    add("appearanceDistributions", [](benchmark::State& state, const cv::Mat& image) {
        likeness::ColorCounter counter;
        for (auto _ : state) {
            benchmark::DoNotOptimize(likeness::appearanceDistributions(image, counter));
        }
    });
}

/// Two small photographs, beside the chain run on every pixel, which writes its dumps.
void addSmallPairs() {
    for (const int side : {8, 64, 256}) {
        const cv::Size size(side, side);
        const auto first = std::make_shared<cv::Mat>(likeness::bench::photographLike("coffee.jpg", size, 1));
        const auto second = std::make_shared<cv::Mat>(likeness::bench::photographLike("cat.jpg", size, 2));
        const auto add = [&](const char* name, auto body) {
            const std::string full = std::string(name) + '/' + std::to_string(side) + 'x' + std::to_string(side);
            benchmark::RegisterBenchmark(full.c_str(), [first, second, body](benchmark::State& state) {
                body(state, *first, *second);
                setPixels(state, *first);
            })->Unit(benchmark::kMicrosecond);
        };
        add("comparePhotographs/library", [](benchmark::State& state, const cv::Mat& a, const cv::Mat& b) {
            if (likeness::comparePhotographs(a, b).brightness != literal::metrics(a, b)[0]) {
                state.SkipWithError("not the coefficient of the literal version");
            }
            for (auto _ : state) {
                benchmark::DoNotOptimize(likeness::comparePhotographs(a, b));
            }
        });
        add("comparePhotographs/literal", [](benchmark::State& state, const cv::Mat& a, const cv::Mat& b) {
            for (auto _ : state) {
                benchmark::DoNotOptimize(literal::metrics(a, b));
            }
        });
    }
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const auto scratch = std::filesystem::temp_directory_path() / "likeness-comparison-loops";
    std::filesystem::create_directories(scratch);
    std::filesystem::current_path(scratch);
    struct Size {
        const char* name;
        cv::Size size;
        bool withLiteral;
    };
    for (const Size& size :
         {Size{"0.25MP", {576, 432}, true}, Size{"2MP", {1632, 1224}, true}, Size{"24MP", {5664, 4248}, false}}) {
        addColorCases(size.name,
                      std::make_shared<cv::Mat>(likeness::bench::photographLike("coffee.jpg", size.size, 1)));
        addCases(size.name, std::make_shared<Chain>(size.size), size.withLiteral);
    }
    addSmallPairs();
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::current_path("/");
    std::filesystem::remove_all(scratch);
    return 0;
}
