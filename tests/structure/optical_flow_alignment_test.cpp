#include <likeness/structure/optical_flow_alignment.hpp>

#include <likeness/color/unit_image.hpp>
#include "reference/structure_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/quiet_call.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace likeness {
namespace {

/// The image as seen through a field of displacements: result(p) = image(p + displacement(p)).
cv::Mat warped(const cv::Mat& image, const cv::Mat& displacement) {
    cv::Mat points = displacement.clone();
    points.forEach<cv::Vec2f>([](cv::Vec2f& point, const int* at) {
        point += cv::Vec2f(static_cast<float>(at[1]), static_cast<float>(at[0]));
    });
    cv::Mat result;
    cv::remap(image, result, points, cv::noArray(), cv::INTER_CUBIC, cv::BORDER_REFLECT_101);
    return result;
}

void expectLiteral(const cv::Mat& moving, const cv::Mat& reference) {
    cv::Mat ownMoving = moving.clone();
    cv::Mat ownReference = reference.clone();
    cv::Mat out;
    calculateOpticalFlow(ownMoving, ownReference, out);
    cv::Mat literalMoving = moving.clone();
    cv::Mat literalReference = reference.clone();
    cv::Mat expected;
    reference::calculateOpticalFlow(literalMoving, literalReference, expected);
    EXPECT_MAT_EQUAL(out, expected);
    EXPECT_MAT_EQUAL(ownMoving, literalMoving);
    EXPECT_MAT_EQUAL(ownReference, literalReference);
}

TEST(CalculateOpticalFlow, IsTheLiteralOne) {
    expectLiteral(testing::exampleImage("cat.jpg"),
                  warped(testing::exampleImage("cat.jpg"), cv::Mat(300, 451, CV_32FC2, cv::Scalar(2.5, -1))));
    for (const cv::Size size : {cv::Size(61, 47), cv::Size(301, 1), cv::Size(1, 301), cv::Size(1, 1)}) {
        SCOPED_TRACE(size);
        expectLiteral(testing::randomImage(size, 3, 0, 1, 1), testing::randomImage(size, 3, 0, 1, 2));
    }
}

TEST(AlignAlongOpticalFlow, HandsOverTheLiteralFlow) {
    const cv::Mat photograph = testing::exampleImage("coffee.jpg");
    const cv::Mat moved = warped(photograph, cv::Mat(photograph.size(), CV_32FC2, cv::Scalar(1.5, -2)));
    cv::Mat grayMoving;
    cv::Mat grayReference;
    cv::cvtColor(photograph * 255.0, grayMoving, cv::COLOR_BGR2GRAY);
    cv::cvtColor(moved * 255.0, grayReference, cv::COLOR_BGR2GRAY);
    const cv::Mat expected = reference::opticalFlow(grayMoving, grayReference);

    cv::Mat moving = photograph.clone();
    cv::Mat reference = moved.clone();
    cv::Mat out;
    cv::Mat flow;
    alignAlongOpticalFlow(moving, reference, out, flow);
    EXPECT_MAT_EQUAL(flow, expected);
    cv::Mat otherMoving = photograph.clone();
    cv::Mat otherReference = moved.clone();
    cv::Mat alone;
    calculateOpticalFlow(otherMoving, otherReference, alone);
    EXPECT_MAT_EQUAL(out, alone);
}

TEST(CalculateOpticalFlow, AcceptsRowsWithGaps) {
    const cv::Mat photograph = testing::exampleImage("cat.jpg");
    const cv::Mat moved = warped(photograph, cv::Mat(photograph.size(), CV_32FC2, cv::Scalar(2.5, -1)));
    cv::Mat moving = photograph.clone();
    cv::Mat reference = moved.clone();
    cv::Mat expected;
    calculateOpticalFlow(moving, reference, expected);
    cv::Mat movingView = testing::withGaps(photograph);
    cv::Mat referenceView = testing::withGaps(moved);
    cv::Mat outView = testing::withGaps(photograph);
    const uchar* const memory = outView.data;
    calculateOpticalFlow(movingView, referenceView, outView);
    EXPECT_EQ(outView.data, memory);
    EXPECT_MAT_EQUAL(outView, expected);
    EXPECT_MAT_EQUAL(movingView, moving);
}

TEST(CalculateOpticalFlow, IdenticalImagesStayWhereTheyAre) {
    for (const std::string& name : testing::examplePhotographNames()) {
        cv::Mat moving = testing::exampleImage(name);
        cv::Mat reference = moving.clone();
        cv::Mat out;
        calculateOpticalFlow(moving, reference, out);
        EXPECT_MAT_EQUAL(out, moving) << name;
    }
}

TEST(CalculateOpticalFlow, GivesTheInputsBack) {
    const cv::Mat photograph = testing::exampleImage("rocket.jpg");
    const cv::Mat other = photograph * 0.7;
    cv::Mat moving = photograph.clone();
    cv::Mat reference = other.clone();
    cv::Mat out;
    calculateOpticalFlow(moving, reference, out);
    // One rounding by the multiplication and one by the division: 2^-24 each.
    EXPECT_MAT_NEAR(moving, photograph, {.relative = 0x1p-22});
    EXPECT_MAT_NEAR(reference, other, {.relative = 0x1p-22});
}

TEST(CalculateOpticalFlow, FollowsAShiftAndLeavesBlackWhatLiesOutside) {
    constexpr int shift = 4;
    cv::Mat reference = testing::exampleImage("coffee.jpg");  // textured up to its right edge
    cv::Mat moving;
    cv::copyMakeBorder(reference.colRange(0, reference.cols - shift), moving, 0, 0, shift, 0, cv::BORDER_REPLICATE);
    const cv::Mat expected = reference.clone();
    cv::Mat out;
    calculateOpticalFlow(moving, reference, out);
    int same = 0;
    int black = 0;
    const int inner = reference.cols - 2 * shift;
    for (int i = 0; i < reference.rows; ++i) {
        for (int j = 2 * shift; j < inner; ++j) {
            same += cv::norm(out.at<cv::Vec3f>(i, j), expected.at<cv::Vec3f>(i, j), cv::NORM_INF) < 1e-6 ? 1 : 0;
        }
        for (int j = reference.cols - shift; j < reference.cols; ++j) {
            black += out.at<cv::Vec3f>(i, j) == cv::Vec3f::all(0) ? 1 : 0;
        }
    }
    EXPECT_GT(same, reference.rows * (inner - 2 * shift) * 85 / 100) << "measured: 90 %; even ground shows no shift";
    EXPECT_EQ(black, reference.rows * shift);
}

TEST(CalculateOpticalFlow, FollowsASmoothFieldOfDisplacements) {
    // A swell of 2 pixels and 200 pixels from crest to crest. The photograph is the moving image, its warped version
    // the reference, so the field itself is what the flow has to find.
    cv::Mat moving = testing::exampleImage("cat.jpg");
    cv::Mat field(moving.size(), CV_32FC2);
    field.forEach<cv::Vec2f>([](cv::Vec2f& displacement, const int* at) {
        displacement = cv::Vec2f(static_cast<float>(2 * std::sin(2 * CV_PI * at[0] / 200)),
                                 static_cast<float>(2 * std::cos(2 * CV_PI * at[1] / 200)));
    });
    cv::Mat reference = warped(moving, field);

    cv::Mat grayMoving;
    cv::Mat grayReference;
    cv::cvtColor(moving * 255.0, grayMoving, cv::COLOR_BGR2GRAY);
    cv::cvtColor(reference * 255.0, grayReference, cv::COLOR_BGR2GRAY);
    const cv::Mat flow = reference::opticalFlow(grayMoving, grayReference);
    std::vector<double> errors;
    for (int i = 0; i < flow.rows; ++i) {
        for (int j = 0; j < flow.cols; ++j) {
            errors.push_back(cv::norm(flow.at<cv::Vec2f>(i, j), field.at<cv::Vec2f>(i, j)));
        }
    }
    std::sort(errors.begin(), errors.end());
    // Measured: 0.13 and 0.78. The displacements themselves, which a flow of 0 would miss, are 2 in the median.
    EXPECT_LT(errors[errors.size() / 2], 0.2);
    EXPECT_LT(errors[errors.size() * 9 / 10], 1.2);

    // Measured: the photographs differ by 8.5 of 255 in the mean before and by 2.7 after.
    cv::Mat out;
    calculateOpticalFlow(moving, reference, out);
    const double before = cv::norm(moving, reference, cv::NORM_L1);
    const double after = cv::norm(out, reference, cv::NORM_L1);
    EXPECT_LT(after, before / 2.5);
}

TEST(CalculateOpticalFlow, RefusesWhatDoesNotFitAndTouchesNothing) {
    const cv::Mat photograph = testing::randomImage({40, 30}, 3, 0, 1, 3);
    cv::Mat out;
    for (cv::Mat other : {testing::randomImage({39, 30}, 3, 0, 1, 4), testing::randomImage({40, 30}, 1, 0, 1, 5),
                          testing::randomPhotograph({40, 30}, 6), cv::Mat()}) {
        cv::Mat first = photograph.clone();
        const cv::Mat second = other.clone();
        EXPECT_THROW(calculateOpticalFlow(first, other, out), std::invalid_argument);
        EXPECT_THROW(calculateOpticalFlow(other, first, out), std::invalid_argument);
        EXPECT_MAT_EQUAL(first, photograph);
        EXPECT_MAT_EQUAL(other, second);
        EXPECT_TRUE(out.empty());
    }
}

TEST(AlignTo, IsTheGivenOneOfEveryDepth) {
    const cv::Mat photograph = testing::examplePhotograph("cat.jpg")(cv::Rect(60, 60, 90, 80)).clone();
    cv::Mat moved;
    cv::copyMakeBorder(photograph.colRange(0, 88), moved, 0, 0, 2, 0, cv::BORDER_REPLICATE);
    for (const int depth : {CV_8U, CV_16U, CV_32F, CV_64F}) {
        cv::Mat moving;
        cv::Mat reference;
        const double scale = depth == CV_8U ? 1 : depth == CV_16U ? 257 : 1 / 255.0;
        photograph.convertTo(moving, depth, scale);
        moved.convertTo(reference, depth, scale);
        cv::Mat givenMoving = toUnit(moving).clone();
        cv::Mat givenReference = toUnit(reference).clone();
        cv::Mat image;
        cv::Mat flow;
        alignAlongOpticalFlow(givenMoving, givenReference, image, flow);
        for (const cv::Mat& some : {moving, testing::withGaps(moving)}) {
            const Alignment alignment =
                testing::quietly(some, [&](const cv::Mat& one) { return alignTo(one, reference); });
            EXPECT_MAT_EQUAL(alignment.image, image);
            EXPECT_MAT_EQUAL(alignment.flow, flow);
        }
        const cv::Mat before = reference.clone();
        alignTo(moving, reference);
        EXPECT_MAT_EQUAL(reference, before);
    }
}

TEST(AlignTo, APhotographToItself) {
    const cv::Mat image = testing::exampleImage("coffee.jpg")(cv::Rect(10, 10, 60, 50)).clone();
    const Alignment alignment = alignTo(image, image);
    EXPECT_MAT_NEAR(alignment.image, image, {.relative = 0x1p-22});
    EXPECT_MAT_NEAR(alignment.flow, cv::Mat(image.size(), CV_32FC2, cv::Scalar::all(0)), {.absolute = 0.01});
}

TEST(AlignTo, ItsOptionsReachTheFlow) {
    const cv::Mat moving = testing::exampleImage("cat.jpg")(cv::Rect(60, 60, 180, 160)).clone();
    cv::Mat reference;
    cv::copyMakeBorder(moving.colRange(0, 178), reference, 0, 0, 2, 0, cv::BORDER_REPLICATE);
    const cv::Mat usual = alignTo(moving, reference).flow;
    AlignOptions levels;
    levels.levels = 1;
    AlignOptions window;
    window.window = 5;
    AlignOptions iterations;
    iterations.iterations = 1;
    AlignOptions sigma;
    sigma.neighborhoodSigma = 1.1;
    for (const AlignOptions& options : {levels, window, iterations, sigma}) {
        EXPECT_GT(cv::norm(alignTo(moving, reference, options).flow, usual, cv::NORM_INF), 1e-3);
    }
}

TEST(AlignTo, SmallImages) {
    EXPECT_TRUE(alignTo(cv::Mat(), cv::Mat()).image.empty());
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(40, 1), cv::Size(1, 40)}) {
        const Alignment alignment =
            alignTo(testing::randomImage(size, 3, 0, 1, 1), testing::randomImage(size, 3, 0, 1, 2));
        EXPECT_EQ(alignment.image.size(), size);
        EXPECT_EQ(alignment.flow.size(), size);
    }
}

TEST(AlignTo, RefusesWhatItCannotDo) {
    const cv::Mat image = testing::randomImage({20, 16}, 3, 0, 1, 3);
    testing::expectPhotographChecked("moving", image, [&](const cv::Mat& wrong) { alignTo(wrong, image); });
    testing::expectPhotographChecked("reference", image, [&](const cv::Mat& wrong) { alignTo(image, wrong); });
    testing::expectRefusal("reference", "20 x 16", [&] { alignTo(image, image.rowRange(0, 15)); });
    testing::expectRefusal("reference", "empty", [&] { alignTo(image, cv::Mat()); });
    AlignOptions options;
    options.levels = 0;
    testing::expectRefusal("levels", "1 to 30", [&] { alignTo(image, image, options); });
    options = {};
    options.window = 0;
    testing::expectRefusal("window", "1 to 999", [&] { alignTo(image, image, options); });
    options = {};
    options.iterations = 0;
    testing::expectRefusal("iterations", "1 to 100", [&] { alignTo(image, image, options); });
    options = {};
    options.neighborhoodSigma = 0;
    testing::expectRefusal("neighborhoodSigma", "above 0", [&] { alignTo(image, image, options); });
}

TEST(AlignTo, ItsCallerHearsOfItAndEndsIt) {
    const cv::Mat image = testing::randomImage({20, 16}, 3, 0, 1, 4);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { alignTo(image, image, {}, watch); }), 2);
}

}  // namespace
}  // namespace likeness
