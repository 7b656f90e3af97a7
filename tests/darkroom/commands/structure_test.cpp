#include <likeness/likeness.hpp>
#include "darkroom/darkroom_program.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

namespace likeness::testing {
namespace {

using DarkroomStructure = DarkroomProgram;

cv::Mat strengthOf(const std::string& name, float size) {
    cv::Mat image = unitPhotograph(name) * 255.0;
    cv::Mat strength(image.size(), CV_32F);
    computeStructuralTensor(image, strength, size, dropAll());
    return strength;
}

TEST_F(DarkroomStructure, WritesWhatTheLibraryComputes) {
    const Outcome outcome = expectDone({"structure", photo("coffee.jpg"), "-o", "strength.tif"});
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(filesLeft(), std::vector<std::string>{"strength.tif"});
    EXPECT_MAT_EQUAL(imageLeft("strength.tif"), strengthOf("coffee.jpg", 3));
    expectDone({"structure", photo("coffee.jpg"), "-o", "strength.tif", "--size", "7"});
    EXPECT_MAT_EQUAL(imageLeft("strength.tif"), strengthOf("coffee.jpg", 7));
}

TEST_F(DarkroomStructure, CoherenceIsOneOnAnEdgeAndNoNumberOnFlatGround) {
    cv::Mat step(20, 40, CV_8UC3, cv::Scalar::all(0));
    step.colRange(20, 40) = cv::Scalar::all(255);
    expectDone({"structure", save("step.png", step), "-o", "strength.tif", "--coherence", "coherence.tif"});
    const cv::Mat coherence = imageLeft("coherence.tif");
    EXPECT_NEAR(coherence.at<float>(10, 19), 1.0F, 1e-6F);
    EXPECT_TRUE(std::isnan(coherence.at<float>(10, 3)));
}

TEST_F(DarkroomStructure, Refuses) {
    const std::string in = photo("coffee.jpg");
    expectRefused({"structure", "missing.png", "-o", "s.png"}, "cannot read 'missing.png': No such file or directory");
    expectRefused({"structure", in, "-o", "s.png", "--size", "4"}, "--size: '4' is not odd");
    expectRefused({"structure", in, "-o", "s.png", "--size", "0"}, "--size: '0' is not a whole number from 1 to 99");
    expectRefused({"structure", in, "-o", "s.png", "--coherence", "none/c.png"},
                  "--coherence: 'none/c.png' cannot be written: the folder 'none' does not exist");
}

}  // namespace
}  // namespace likeness::testing
