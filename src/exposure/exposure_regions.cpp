#include "exposure/exposure_regions.hpp"

#include <likeness/adaptation/d65_adaptation.hpp>
#include <likeness/adaptation/two_scale_adaptation.hpp>
#include <likeness/adaptation/white_image.hpp>
#include <likeness/color/bgr_xyz.hpp>
#include <likeness/color/sharpened_rgb.hpp>
#include <likeness/diagnostics/name_text.hpp>
#include <likeness/exposure/brightness_increase.hpp>
#include "color/photograph_argument.hpp"
#include "diagnostics/number_text.hpp"
#include "numerics/parallel.hpp"

#include <omp.h>

#include <pthread.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <new>
#include <numeric>
#include <system_error>
#include <thread>

namespace likeness {
namespace {

/// Calls body(rows) for consecutive bands of an image, small enough to stay in a core's cache while one operation after
/// the other goes over them.
template <typename Body>
void forEachBand(const cv::Mat& image, Body body) {
    constexpr int pixelsInBand = 1 << 13;
    const int rowsInBand = std::max(1, pixelsInBand / std::max(1, image.cols));
    for (int first = 0; first < image.rows; first += rowsInBand) {
        body(cv::Range(first, std::min(first + rowsInBand, image.rows)));
    }
}

/// Whether this process was forked from one that had loaded the library. The OpenMP runtime may then believe in threads
/// that stayed behind, and wait for them for ever.
bool isForked = false;

[[maybe_unused]] const int watchesForks = ::pthread_atfork(nullptr, nullptr, [] { isForked = true; });

/// Calls run(i) for each exposure on the OpenMP runtime's default team.
template <typename Run>
void shareOutOverRuntimesTeam(Run run) {
    // The team's work comes after what the caller did before and before what it does next: the runtime sees to that.
    // The two atomics say it once more, for the thread sanitizer, which cannot look into the runtime.
    std::atomic<int> finished{0};
    std::atomic<bool> handedOut{false};
    handedOut.store(true, std::memory_order_release);
#pragma omp parallel for schedule(static)
    for (int i = 0; i < exposureCount; ++i) {
        static_cast<void>(handedOut.load(std::memory_order_acquire));
        run(i);
        finished.fetch_add(1, std::memory_order_release);
    }
    static_cast<void>(finished.load(std::memory_order_acquire));
}

/// The same on as many threads that live no longer than the call, the caller's among them.
template <typename Run>
void shareOutOverOwnThreads(Run run) {
    const int threads = std::clamp(omp_get_max_threads(), 1, exposureCount);
    const int share = exposureCount / threads;
    const int longer = exposureCount % threads;  // so many threads take one exposure more
    const auto runBlock = [&](int thread) {
        const int first = thread * share + std::min(thread, longer);
        const int count = share + (thread < longer ? 1 : 0);
        for (int i = first; i < first + count; ++i) {
            run(i);
        }
    };
    std::vector<std::thread> team;
    team.reserve(static_cast<std::size_t>(threads - 1));
    int started = 1;
    try {
        for (; started < threads; ++started) {
            team.emplace_back(runBlock, started);
        }
    } catch (const std::system_error&) {
        // No more threads to be had: the caller does what is left.
    } catch (const std::bad_alloc&) {
    }
    runBlock(0);
    for (int thread = started; thread < threads; ++thread) {
        runBlock(thread);
    }
    for (std::thread& thread : team) {
        thread.join();
    }
}

}  // namespace

void forEachExposure(const std::function<void(int)>& body) {
    std::array<std::exception_ptr, exposureCount> errors;  // none may leave the region by itself
    const auto run = [&](int i) {
        const numerics::SerialScope oneExposureAThread;
        try {
            body(i);
        } catch (...) {
            errors[static_cast<std::size_t>(i)] = std::current_exception();
        }
    };
    isForked ? shareOutOverOwnThreads(run) : shareOutOverRuntimesTeam(run);
    for (const std::exception_ptr& error : errors) {
        if (error) {
            std::rethrow_exception(error);
        }
    }
}

void requireBrightnessFactor(const std::string& name, double factor, int lastPass) {
    requireAboveZero(name, factor, 100);
    const float last = brightnessFactor(static_cast<float>(factor), lastPass - 1);
    if (!(last > 0)) {
        refuseArgument(name, numberText(static_cast<float>(factor)) + " leaves pass " + std::to_string(lastPass) +
                                 " with the factor " + numberText(last) + ", which must be above 0");
    }
}

AdaptedToD65 adaptedToD65(cv::Mat xyz) {
    cv::Mat& white = xyz;
    convertXYZtoSharpenedBGR(xyz, white);
    cv::Mat adapted = white.clone();
    iCAMCATByD65(adapted, white, white);
    return {adapted, white};
}

std::vector<int> everyPass() {
    std::vector<int> passes(brightnessPasses);
    std::iota(passes.begin(), passes.end(), 0);
    return passes;
}

std::vector<cv::Mat> exposuresOf(cv::Mat& xyz, float brightness, const Diagnostics& diagnostics) {
    AdaptedToD65 adapted = adaptedToD65(xyz);
    std::vector<cv::Mat> exposures;
    increaseBrightnessByPasses(
        adapted.image, brightness, everyPass(),
        [&exposures](int, cv::Mat& exposure) { exposures.push_back(exposure.clone()); }, diagnostics);
    return exposures;
}

void undoD65OfExposure(cv::Mat& exposure, const cv::Mat& white) {
    forEachBand(exposure, [&](const cv::Range& rows) {
        cv::Mat band = exposure.rowRange(rows);
        cv::Mat whiteBand = white.rowRange(rows);
        inverseCATByD65(band, whiteBand, whiteBand);
        convertSharpenedBGRtoXYZ(band, band);
        convertXYZToBGRDirect(band, band);
    });
}

std::vector<float> unadaptExposures(std::vector<cv::Mat>& exposures, const cv::Mat& white, const PictureSink& shown,
                                    StepCount& steps, const Diagnostics& diagnostics) {
    const cv::Point sample(5, 5);
    const bool hasSample = sample.inside(cv::Rect(cv::Point(0, 0), white.size()));
    std::vector<float> greens(hasSample ? exposureCount : 0);
    forEachExposure([&](int i) {
        const auto index = static_cast<std::size_t>(i);
        cv::Mat& exposure = exposures[index];
        steps.check();
        undoD65OfExposure(exposure, white);
        exposure *= 255;
        if (diagnostics.wantsFiles()) {
            diagnostics.writeImage(convertIntToString(i) + "_nonFlash.jpg", exposure);
        }
        exposure /= 255;
        if (shown) {
            shown(0, i, exposure);
        }
        if (hasSample) {
            greens[index] = exposure.at<cv::Vec3f>(sample)[1];
        }
        forEachBand(exposure, [&exposure](const cv::Range& rows) {
            cv::Mat band = exposure.rowRange(rows);
            convertBGRToXYZDirect(band, band);
            convertXYZtoSharpenedBGR(band, band);
        });
        steps.step();
    });
    return greens;
}

SharpenedPhotograph sharpened(cv::Mat& bgr, cv::Mat xyz, int diagonal, const Diagnostics& diagnostics) {
    convertXYZtoSharpenedBGR(xyz, xyz);
    cv::Mat white;
    computeWhiteImg(bgr, white, diagonal, diagnostics);
    forEachBand(white, [&white](const cv::Range& rows) {
        cv::Mat band = white.rowRange(rows);
        convertBGRToXYZDirect(band, band);
        convertXYZtoSharpenedBGR(band, band);
    });
    return {xyz, white};
}

void tintTowardsExposures(const SharpenedPhotograph& flash, std::vector<cv::Mat>& exposures, cv::Mat& mask,
                          int diagonal, int iterations, const std::string& prefix, const PictureSink& finished,
                          StepCount& steps, const Diagnostics& diagnostics) {
    forEachExposure([&](int i) {
        const auto announce = [&] { diagnostics.print(prefix + ' ' + convertIntToString(i) + '\n'); };
        cv::Mat xyz;
        cv::Mat bgr(exposures[0].size(), CV_32FC3);
        for (int round = 0; round < iterations; ++round) {
            steps.check();
            announce();
            SharpenedPhotograph tinted = round == 0 ? SharpenedPhotograph{flash.image.clone(), flash.white}
                                                    : sharpened(bgr, xyz, diagonal, diagnostics);
            announce();
            biCAT(tinted.image, tinted.white, tinted.white, exposures[static_cast<std::size_t>(i)], mask, diagnostics);
            xyz = tinted.image;
            forEachBand(xyz, [&xyz, &bgr](const cv::Range& rows) {
                cv::Mat xyzBand = xyz.rowRange(rows);
                cv::Mat bgrBand = bgr.rowRange(rows);
                convertSharpenedBGRtoXYZ(xyzBand, xyzBand);
                convertXYZToBGRDirect(xyzBand, bgrBand);
            });
            finished(round, i, bgr);
            steps.step();
        }
    });
}

}  // namespace likeness
