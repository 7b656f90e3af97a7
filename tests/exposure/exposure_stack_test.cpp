#include <likeness/exposure/exposure_stack.hpp>

#include <likeness/filter/guidedfilter.hpp>
#include "exposure/exposure_stack_scene.hpp"
#include "reference/exposure_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/quiet_call.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <array>
#include <atomic>
#include <fstream>
#include <set>

namespace likeness {
namespace {

using testing::expectSameTraces;
using testing::FlashPair;
using testing::namesOf;
using testing::Traces;
using testing::tracesOf;

constexpr float brightness = 12.0F;  // all six factors stay above 0

std::size_t linesOf(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

using Version = void (*)(cv::Mat&, cv::Mat&, float, int, std::string, const Diagnostics&);
using Literal = void (*)(cv::Mat&, cv::Mat&, float, int, std::string);

struct StackRun {
    FlashPair pair;
    Traces traces;
};

StackRun runLibrary(Version version, FlashPair pair, int iterations, const std::string& prefix,
                    const Diagnostics& diagnostics = workingDirectory()) {
    StackRun run{pair, {}};
    run.traces =
        tracesOf([&] { version(run.pair.flash, run.pair.nonFlash, brightness, iterations, prefix, diagnostics); });
    return run;
}

StackRun runLiteral(Literal version, FlashPair pair, int iterations, const std::string& prefix) {
    StackRun run{pair, {}};
    run.traces = tracesOf([&] { version(run.pair.flash, run.pair.nonFlash, brightness, iterations, prefix); });
    return run;
}

/// Every file and every message with one thread, and what becomes of the arguments.
void expectSame(const StackRun& actual, const StackRun& expected) {
    expectSameTraces(actual.traces, expected.traces);
    EXPECT_MAT_EQUAL(actual.pair.flash, expected.pair.flash);
    EXPECT_MAT_EQUAL(actual.pair.nonFlash, expected.pair.nonFlash);
}

/// The order of messages is the stated one with one thread.
class ExposureStack : public ::testing::Test {
    const testing::TeamOf one_{1};
};

TEST_F(ExposureStack, FullVersionIsItsLiteralVersion) {
    for (const int iterations : {0, 1, 2}) {
        expectSame(runLibrary(createBrightnessExposures, FlashPair(), iterations, "out"),
                   runLiteral(reference::createBrightnessExposures, FlashPair(), iterations, "out"));
    }
}

TEST_F(ExposureStack, SecondVersionIsItsLiteralVersion) {
    for (const int iterations : {0, 2}) {
        expectSame(runLibrary(createBrightnessExposuresVs2, FlashPair(), iterations, "out"),
                   runLiteral(reference::createBrightnessExposuresVs2, FlashPair(), iterations, "out"));
    }
}

TEST_F(ExposureStack, ThirdVersionIsItsLiteralVersion) {
    for (const int iterations : {0, 2}) {
        expectSame(runLibrary(createBrightnessExposuresVs3, FlashPair(), iterations, "out"),
                   runLiteral(reference::createBrightnessExposuresVs3, FlashPair(), iterations, "out"));
    }
}

TEST_F(ExposureStack, FullVersionNamesAndMessages) {
    const StackRun run = runLibrary(createBrightnessExposures, FlashPair(), 1, "out");
    const auto& files = run.traces.files;
    for (const char* name : {"out.hdr", "out.jpg", "outfusion.jpg", "out0_00_final.jpg", "out0_03_final.jpg",
                             "out0_05_final.jpg", "0_nonFlash.jpg", "5_nonFlash.jpg", "smoothBegin.jpg"}) {
        EXPECT_EQ(files.count(name), 1U) << name;
    }
    EXPECT_EQ(files.count("out1_00_final.jpg"), 0U);
    EXPECT_EQ(linesOf(files.at("yValues.txt")), 6U);
    for (const char* name : {"R.txt", "G.txt", "B.txt", "values.txt"}) {
        EXPECT_EQ(linesOf(files.at(name)), 256U) << name;
    }
    EXPECT_EQ(linesOf(files.at("catRatio.txt")), 64U * 48U);
    // Times, iterations, the 80 pixels of the diagonal over 50.
    const std::string start = "1024\n512\n256\n128\n64\n32\n16\n1\n1\n1\n1\n1\n1\n1\n";
    EXPECT_EQ(run.traces.printed.substr(0, start.size()), start);
    EXPECT_NE(run.traces.printed.find("paralell\nout 0\nout 0\n"), std::string::npos);
    EXPECT_NE(run.traces.printed.find("0.00195312 512 6\n"), std::string::npos);
    const std::string end = "]\nout.hdr out.jpg\n";
    EXPECT_EQ(run.traces.printed.substr(run.traces.printed.size() - end.size()), end);
}

TEST_F(ExposureStack, YValuesAreTheGreenOfEachExposure) {
    const StackRun run = runLibrary(createBrightnessExposures, FlashPair(), 0, "out");
    std::istringstream values(run.traces.files.at("yValues.txt"));
    for (int i = 0; i < 6; ++i) {
        float green = 0;
        values >> green;
        const std::string& jpeg = run.traces.files.at(std::to_string(i) + "_nonFlash.jpg");
        const cv::Mat shown = cv::imdecode(std::vector<uchar>(jpeg.begin(), jpeg.end()), cv::IMREAD_COLOR);
        // JPEG moves a byte by a few units.
        EXPECT_NEAR(255 * green, (shown.at<cv::Vec3b>(5, 5)[1]), 12) << i;
    }
}

TEST_F(ExposureStack, WithoutIterationsNothingIsTinted) {
    const StackRun run = runLibrary(createBrightnessExposures, FlashPair(), 0, "out");
    for (const auto& [name, content] : run.traces.files) {
        EXPECT_EQ(name.find("_final"), std::string::npos) << name;
    }
    EXPECT_EQ(run.traces.files.count("catRatio.txt"), 0U);
    EXPECT_EQ(run.traces.files.count("outfusion.jpg"), 1U);
}

TEST_F(ExposureStack, FlashComesBackAndNoFlashStaysOnTheScaleOfBytes) {
    const StackRun run = runLibrary(createBrightnessExposures, FlashPair(), 1, "out");
    EXPECT_MAT_NEAR(run.pair.flash, FlashPair().flash, {.absolute = 1e-6});
    double greatest = 0;
    cv::minMaxLoc(run.pair.nonFlash.reshape(1), nullptr, &greatest);
    EXPECT_GT(greatest, 50);
    EXPECT_LT(greatest, 255);
}

TEST_F(ExposureStack, SecondVersionNamesMessagesAndScales) {
    const StackRun run = runLibrary(createBrightnessExposuresVs2, FlashPair(), 2, "out");
    const auto& files = run.traces.files;
    for (const char* name : {"out.hdr", "out.jpg", "outfusion.jpg", "0_0_final.jpg", "0_1_final.jpg", "test18.jpg",
                             "0_nonFlash.jpg", "5_nonFlash.jpg", "smoothBegin.jpg", "nonflash.jpg"}) {
        EXPECT_EQ(files.count(name), 1U) << name;
    }
    for (const char* name : {"yValues.txt", "R.txt", "values.txt", "0_2_final.jpg"}) {
        EXPECT_EQ(files.count(name), 0U) << name;
    }
    EXPECT_EQ(files.at("test18.jpg"), files.at("0_nonFlash.jpg"));
    EXPECT_NE(run.traces.printed.find("here\nhere\nhere\nhere\nhere\nhere\n0.0666667 15 6\n0.133333 7.5 6\n"),
              std::string::npos);
    double greatest = 0;
    cv::minMaxLoc(run.pair.nonFlash.reshape(1), nullptr, &greatest);
    EXPECT_GT(greatest, 50);
}

TEST_F(ExposureStack, ThirdVersionOnlyTints) {
    const FlashPair before;
    const StackRun run = runLibrary(createBrightnessExposuresVs3, FlashPair(), 1, "out");
    EXPECT_EQ(run.traces.printed.substr(0, 44),
              "30\n15\n7.5\n3.75\n1.875\n0.9375\n0.46875\n" + run.traces.printed.substr(36, 8));
    EXPECT_EQ(linesOf(run.traces.printed), 7U + 3U);
    EXPECT_EQ(run.traces.files.count("0_0_final.jpg"), 1U);
    EXPECT_EQ(run.traces.files.count("out.hdr"), 0U);
    EXPECT_MAT_EQUAL(run.pair.nonFlash, before.nonFlash);
    EXPECT_GT(cv::norm(run.pair.flash, before.flash, cv::NORM_INF), 0.01);
}

TEST_F(ExposureStack, ResultsAreTheSameWhereNothingElseIsWanted) {
    const std::set<std::string> results = {"out.hdr",           "out.jpg",           "outfusion.jpg",
                                           "out0_00_final.jpg", "out0_01_final.jpg", "out0_02_final.jpg",
                                           "out0_03_final.jpg", "out0_04_final.jpg", "out0_05_final.jpg"};
    const StackRun all = runLibrary(createBrightnessExposures, FlashPair(), 1, "out");
    const StackRun silent = runLibrary(createBrightnessExposures, FlashPair(), 1, "out", dropAll());
    EXPECT_EQ(silent.traces.printed, "");
    const std::vector<std::string> names = namesOf(silent.traces.files);
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), results);
    for (const std::string& name : results) {
        EXPECT_TRUE(silent.traces.files.at(name) == all.traces.files.at(name)) << name;
    }
    EXPECT_MAT_EQUAL(silent.pair.flash, all.pair.flash);
    EXPECT_EQ(namesOf(runLibrary(createBrightnessExposuresVs2, FlashPair(), 1, "v", dropAll()).traces.files),
              (std::vector<std::string>{"v.hdr", "v.jpg", "vfusion.jpg"}));
    EXPECT_TRUE(runLibrary(createBrightnessExposuresVs3, FlashPair(), 1, "v", dropAll()).traces.files.empty());
}

TEST_F(ExposureStack, MissingInputFilesAreNotMentioned) {
    ::testing::internal::CaptureStderr();
    runLibrary(createBrightnessExposures, FlashPair(), 1, "out");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(ExposureStack, TheMaskPlaysNoPart) {
    const StackRun without = runLibrary(createBrightnessExposures, FlashPair(), 1, "out");
    StackRun with{FlashPair(), {}};
    with.traces = tracesOf([&] {
        std::ofstream("maskFiltered06.jpg") << "not a picture";
        createBrightnessExposures(with.pair.flash, with.pair.nonFlash, brightness, 1, "out");
    });
    with.traces.files.erase("maskFiltered06.jpg");
    expectSameTraces(with.traces, without.traces);
}

// Below 6 x 6 pixels there is no sample; what is defined is written. Fewer than 70 pixels are too few for the recovery.
TEST_F(ExposureStack, SmallImages) {
    for (const cv::Size size : {cv::Size(5, 5), cv::Size(1, 1), cv::Size(40, 5), cv::Size(5, 40)}) {
        FlashPair pair(cv::Rect(cv::Point(80, 80), size));
        const bool recovers = size.area() >= 70;
        const Traces traces = tracesOf([&] {
            const auto call = [&] { createBrightnessExposures(pair.flash, pair.nonFlash, brightness, 1, "out"); };
            if (recovers) {
                call();
            } else {
                EXPECT_THROW(call(), cv::Exception);
            }
        });
        EXPECT_EQ(traces.files.at("yValues.txt"), "") << size;
        EXPECT_EQ(traces.files.count("out0_05_final.jpg"), 1U) << size;
        EXPECT_EQ(traces.files.count("5_nonFlash.jpg"), 1U) << size;
        EXPECT_EQ(traces.files.count("out.hdr"), recovers ? 1U : 0U) << size;
    }
    FlashPair pair(cv::Rect(80, 80, 6, 6));
    const Traces traces = tracesOf([&] {
        EXPECT_THROW(createBrightnessExposures(pair.flash, pair.nonFlash, brightness, 0, "out"), cv::Exception);
    });
    EXPECT_EQ(linesOf(traces.files.at("yValues.txt")), 6U);
}

// A photograph with noise below 0: where the smoothed one has a negative channel, the whole pixel is the photograph's.
TEST_F(ExposureStack, NegativePixelsOfTheSmoothedPhotographAreRepaired) {
    FlashPair pair;
    pair.nonFlash = testing::randomImage(pair.flash.size(), 3, -0.02F, 0.2F, 4);
    cv::Mat scaled = pair.nonFlash * 255;
    const cv::Mat smooth = guidedFilter(scaled, scaled, 4, 6.5025, -1, dropAll());
    const StackRun run =
        runLibrary(createBrightnessExposures, FlashPair(pair.flash.clone(), pair.nonFlash.clone()), 0, "out");
    scaled /= 255;
    scaled *= 255;
    int repaired = 0;
    for (int i = 0; i < smooth.rows; ++i) {
        for (int j = 0; j < smooth.cols; ++j) {
            const cv::Vec3f pixel = smooth.at<cv::Vec3f>(i, j);
            if (std::min({pixel[0], pixel[1], pixel[2]}) < 0) {
                EXPECT_EQ((run.pair.nonFlash.at<cv::Vec3f>(i, j)), (scaled.at<cv::Vec3f>(i, j)));
                ++repaired;
            }
        }
    }
    EXPECT_GT(repaired, 100);
    expectSame(run, runLiteral(reference::createBrightnessExposures, pair, 0, "out"));
}

TEST_F(ExposureStack, RowsMayHaveGaps) {
    FlashPair gaps;
    gaps.flash = testing::withGaps(gaps.flash);
    gaps.nonFlash = testing::withGaps(gaps.nonFlash);
    const StackRun expected = runLibrary(createBrightnessExposures, FlashPair(), 1, "out");
    const StackRun actual = runLibrary(createBrightnessExposures, gaps, 1, "out");
    expectSameTraces(actual.traces, expected.traces);
    EXPECT_MAT_EQUAL(actual.pair.nonFlash, expected.pair.nonFlash);
}

// From the third factor on the exponent of the brightness is NaN: the exposures are, too, and nothing stops.
TEST_F(ExposureStack, NotANumberGoesThrough) {
    FlashPair actual;
    FlashPair expected;
    const Traces traces = tracesOf([&] { createBrightnessExposures(actual.flash, actual.nonFlash, 1.0F, 1, "out"); });
    expectSameTraces(traces, tracesOf([&] {
                         reference::createBrightnessExposures(expected.flash, expected.nonFlash, 1.0F, 1, "out");
                     }));
    EXPECT_NE(traces.files.at("yValues.txt").find("nan"), std::string::npos);
}

std::string encoded(const std::string& extension, const cv::Mat& image) {
    std::vector<uchar> file;
    cv::imencode(extension, image, file);
    return {file.begin(), file.end()};
}

std::string jpegOfUnit(const cv::Mat& image) {
    cv::Mat bytes;
    image.convertTo(bytes, CV_8U, 255);
    return encoded(".jpg", bytes);
}

StackOptions stackOptions(StackVersion version, int iterations) {
    StackOptions options;
    options.version = version;
    options.brightness = static_cast<double>(brightness);
    options.iterations = iterations;
    return options;
}

// Small: the recovery of a response takes as long for any size.
FlashPair smallPair() {
    return FlashPair(cv::Rect(60, 60, 16, 12));
}

void expectMergedFiles(const likeness::ExposureStack& stack, const std::map<std::string, std::string>& files) {
    EXPECT_TRUE(files.at("out.hdr") == encoded(".hdr", stack.radiance));
    EXPECT_TRUE(files.at("out.jpg") == encoded(".jpg", stack.toneMapped * 255));
    EXPECT_TRUE(files.at("outfusion.jpg") == encoded(".jpg", stack.fused * 255));
}

TEST_F(ExposureStack, ReturnsWhatTheFullVersionWrites) {
    const StackRun given = runLibrary(createBrightnessExposures, smallPair(), 2, "out");
    const FlashPair pair = smallPair();
    const auto stack = testing::quietly(pair.flash, [&](const cv::Mat& flash) {
        return exposureStack(flash, pair.nonFlash, stackOptions(StackVersion::full, 2));
    });
    EXPECT_MAT_EQUAL(pair.nonFlash, smallPair().nonFlash);
    ASSERT_EQ(stack.exposures.size(), 6U);
    ASSERT_EQ(stack.tinted.size(), 6U);
    for (std::size_t i = 0; i < 6; ++i) {
        // The dump is of the picture before its product with 255 was taken back: the same byte but for ties.
        EXPECT_TRUE(given.traces.files.at(std::to_string(i) + "_nonFlash.jpg") ==
                    encoded(".jpg", stack.exposures[i] * 255))
            << i;
        EXPECT_TRUE(given.traces.files.at("out1_0" + std::to_string(i) + "_final.jpg") == jpegOfUnit(stack.tinted[i]))
            << i;
    }
    EXPECT_EQ(stack.response.size(), cv::Size(1, 256));
    expectMergedFiles(stack, given.traces.files);
}

TEST_F(ExposureStack, HandsOverEveryRoundAndKeepsWhatIsWanted) {
    const StackRun given = runLibrary(createBrightnessExposures, smallPair(), 2, "out");
    const FlashPair pair = smallPair();
    StackOptions options = stackOptions(StackVersion::full, 2);
    options.exposures = false;
    std::array<std::array<std::string, 6>, 2> taken;  // a place for each, as the threads of the team write them
    options.takeTinted = [&taken](int round, int exposure, const cv::Mat& picture) {
        taken.at(static_cast<std::size_t>(round)).at(static_cast<std::size_t>(exposure)) = jpegOfUnit(picture);
    };
    const auto stack = exposureStack(pair.flash, pair.nonFlash, options);
    EXPECT_TRUE(stack.exposures.empty());
    EXPECT_TRUE(stack.tinted.empty());
    for (std::size_t round = 0; round < 2; ++round) {
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_TRUE(taken[round][i] ==
                        given.traces.files.at("out" + std::to_string(round) + "_0" + std::to_string(i) + "_final.jpg"))
                << round << ' ' << i;
        }
    }
    expectMergedFiles(stack, given.traces.files);
    options.takeTinted = [](int, int exposure, const cv::Mat&) {
        if (exposure == 3) {
            throw std::out_of_range("the caller's own");
        }
    };
    EXPECT_THROW(exposureStack(pair.flash, pair.nonFlash, options), std::out_of_range);
}

TEST_F(ExposureStack, ReturnsWhatTheSecondVersionWrites) {
    const StackRun given = runLibrary(createBrightnessExposuresVs2, smallPair(), 2, "out");
    const FlashPair pair = smallPair();
    const auto stack = testing::quietly(pair.flash, [&](const cv::Mat& flash) {
        return exposureStack(flash, pair.nonFlash, stackOptions(StackVersion::tintedFirst, 2));
    });
    EXPECT_MAT_EQUAL(pair.nonFlash, smallPair().nonFlash);
    ASSERT_EQ(stack.tinted.size(), 1U);
    EXPECT_MAT_EQUAL(stack.tinted[0], given.pair.flash);
    ASSERT_EQ(stack.exposures.size(), 6U);
    for (int i = 0; i < 6; ++i) {
        EXPECT_TRUE(given.traces.files.at(std::to_string(i) + "_nonFlash.jpg") ==
                    encoded(".jpg", stack.exposures[static_cast<std::size_t>(i)] * 255));
    }
    expectMergedFiles(stack, given.traces.files);
}

TEST_F(ExposureStack, ReturnsWhatTheThirdVersionTints) {
    const StackRun given = runLibrary(createBrightnessExposuresVs3, smallPair(), 2, "out", dropAll());
    const FlashPair pair = smallPair();
    for (const cv::Mat& some : {pair.flash, testing::withGaps(pair.flash)}) {
        const auto stack = testing::quietly(some, [&](const cv::Mat& flash) {
            return exposureStack(flash, pair.nonFlash, stackOptions(StackVersion::tintOnly, 2));
        });
        ASSERT_EQ(stack.tinted.size(), 1U);
        EXPECT_MAT_EQUAL(stack.tinted[0], given.pair.flash);
        EXPECT_TRUE(stack.exposures.empty());
        EXPECT_TRUE(stack.fused.empty());
    }
}

TEST_F(ExposureStack, OfOtherDepths) {
    cv::Mat unit = smallPair().flash;
    const cv::Mat expected = exposureStack(unit, unit, stackOptions(StackVersion::tintOnly, 1)).tinted[0];
    cv::Mat doubles;
    unit.convertTo(doubles, CV_64F);
    EXPECT_MAT_EQUAL(exposureStack(doubles, unit, stackOptions(StackVersion::tintOnly, 1)).tinted[0], expected);
    cv::Mat sixteen;
    unit.convertTo(sixteen, CV_16U, 65535);
    EXPECT_MAT_NEAR(exposureStack(sixteen, sixteen, stackOptions(StackVersion::tintOnly, 1)).tinted[0], expected,
                    {.absolute = 1e-3});
}

TEST_F(ExposureStack, RefusesWhatItCannotDo) {
    const cv::Mat image = smallPair().flash;
    const StackOptions full = stackOptions(StackVersion::full, 1);
    EXPECT_TRUE(exposureStack(cv::Mat(), cv::Mat()).exposures.empty());
    testing::expectPhotographChecked("flash", image, [&](const cv::Mat& wrong) { exposureStack(wrong, image, full); });
    testing::expectPhotographChecked("noFlash", image,
                                     [&](const cv::Mat& wrong) { exposureStack(image, wrong, full); });
    testing::expectRefusal("noFlash", "16 x 12", [&] { exposureStack(image, image.rowRange(0, 11), full); });
    testing::expectRefusal("flash", "room for the grid", [&] {
        const cv::Mat small = image(cv::Rect(0, 0, 4, 3));
        exposureStack(small, small, full);
    });
    testing::expectRefusal("iterations", "from 0 to 100",
                           [&] { exposureStack(image, image, stackOptions(StackVersion::full, -1)); });
    testing::expectRefusal("iterations", "from 1 to 100",
                           [&] { exposureStack(image, image, stackOptions(StackVersion::tintOnly, 0)); });
    StackOptions dark = full;
    dark.brightness = 3;
    testing::expectRefusal("brightness", "pass 6", [&] { exposureStack(image, image, dark); });
}

TEST_F(ExposureStack, ItsCallerHearsOfTheTinting) {
    const FlashPair pair = smallPair();
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) {
                  exposureStack(pair.flash, pair.nonFlash, stackOptions(StackVersion::tintOnly, 3), watch);
              }),
              3);
}

/// Ends the operation at a step, by an exception of the caller's own, in teams of several sizes.
void expectEnd(StackVersion version, int last, int total) {
    const FlashPair pair = smallPair();
    for (const int threads : {1, 2, 6}) {
        SCOPED_TRACE(std::to_string(threads) + " threads, step " + std::to_string(last));
        const testing::TeamOf team(threads);
        std::atomic<int> inside{0};
        int heard = 0;
        Watch watch;
        watch.progress = [&](int done, int all) {
            EXPECT_EQ(inside.fetch_add(1), 0) << "from one thread at a time";
            EXPECT_EQ(all, total);
            EXPECT_EQ(done, ++heard);
            inside.fetch_sub(1);
            if (done == last) {
                throw std::out_of_range("the caller's own");
            }
            return true;
        };
        EXPECT_THROW(exposureStack(pair.flash, pair.nonFlash, stackOptions(version, 1), watch), std::out_of_range);
        EXPECT_EQ(heard, last) << "nothing after the end";
        watch.progress = [last](int done, int /*all*/) { return done < last; };
        EXPECT_THROW(exposureStack(pair.flash, pair.nonFlash, stackOptions(version, 1), watch), Cancelled);
    }
    EXPECT_MAT_EQUAL(pair.flash, smallPair().flash);
    EXPECT_MAT_EQUAL(pair.nonFlash, smallPair().nonFlash);
}

TEST_F(ExposureStack, ItsCallerEndsItAtAnyStep) {
    // Before the response, which takes longest: the smoothing, the brightness, the exposures, the tinting.
    for (const int last : {1, 2, 3, 5, 8, 9, 11, 14}) {
        expectEnd(StackVersion::full, last, 18);
    }
    for (const int last : {1, 2, 3, 4, 9}) {
        expectEnd(StackVersion::tintedFirst, last, 13);
    }
}

TEST_F(ExposureStack, ItsCallerHearsOfEveryStep) {
    const FlashPair pair = smallPair();
    int heard = 0;
    Watch watch;
    watch.progress = [&heard](int done, int /*total*/) {
        EXPECT_EQ(done, ++heard);
        return true;
    };
    const auto stack = exposureStack(pair.flash, pair.nonFlash, stackOptions(StackVersion::full, 0), watch);
    EXPECT_EQ(heard, 12);
    EXPECT_TRUE(stack.tinted.empty());
    EXPECT_EQ(stack.exposures.size(), 6U);
}

}  // namespace
}  // namespace likeness
