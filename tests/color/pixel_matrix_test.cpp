#include <likeness/color/pixel_matrix.hpp>

#include "reference/color_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

namespace likeness {
namespace {

using testing::pixel;

TEST(DotProduct, IsTheMatrixProduct) {
    const cv::Mat A = (cv::Mat_<float>(3, 3) << 1, 2, 3, 4, 5, 6, 7, 8, 10);
    const cv::Mat B = (cv::Mat_<float>(3, 3) << 2, 0, 1, 1, 3, 0, 0, -1, 2);
    cv::Mat C(3, 3, CV_32F, cv::Scalar(1e9));  // overwritten, not added to
    dotProduct(A, B, C);
    EXPECT_MAT_EQUAL(C, (cv::Mat_<float>(3, 3) << 4, 3, 7, 13, 9, 16, 22, 14, 27));
}

TEST(DotProduct, IsTheLiteralVersion) {
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        const cv::Mat A = testing::randomImage({3, 3}, 1, -2.0F, 2.0F, seed);
        const cv::Mat B = testing::randomImage({3, 3}, 1, -2.0F, 2.0F, seed + 100);
        cv::Mat actual(3, 3, CV_32F);
        cv::Mat expected(3, 3, CV_32F);
        dotProduct(A, B, actual);
        reference::dotProduct(A, B, expected);
        EXPECT_MAT_EQUAL(actual, expected);
    }
}

TEST(Product, PairsChannelsWithColumns) {
    const cv::Mat M = (cv::Mat_<float>(3, 3) << 1, 2, 3, 4, 5, 6, 7, 8, 9);
    for (int row = 0; row < 3; ++row) {
        EXPECT_EQ(product(pixel(1, 0, 0), M, row), M.at<float>(row, 0));
        EXPECT_EQ(product(pixel(0, 1, 0), M, row), M.at<float>(row, 1));
        EXPECT_EQ(product(pixel(0, 0, 1), M, row), M.at<float>(row, 2));
    }
}

TEST(Product, AddsFromTheLeft) {
    // From the right the two large terms would swallow the 1 before they cancel.
    EXPECT_EQ(product(pixel(1e8F, -1e8F, 1), cv::Mat::ones(3, 3, CV_32F), 0), 1.0F);
    EXPECT_EQ(product(pixel(1, 1e8F, -1e8F), cv::Mat::ones(3, 3, CV_32F), 0), 0.0F);
    for (std::uint64_t seed = 0; seed < 50; ++seed) {
        const cv::Mat M = testing::randomImage({3, 3}, 1, -2.0F, 2.0F, seed);
        const cv::Mat triple = testing::randomImage({1, 1}, 3, -2.0F, 2.0F, seed + 100);
        for (int row = 0; row < 3; ++row) {
            EXPECT_EQ(product(triple, M, row), reference::product(triple, M, row));
        }
    }
}

TEST(MultiplyImageByMatrix, ReversesChannelsUnderTheIdentity) {
    cv::Mat identity = cv::Mat::eye(3, 3, CV_32F);
    const cv::Mat bgr = pixel(0.1F, 0.2F, 0.3F);
    cv::Mat forward(1, 1, CV_32FC3);
    multiplyImageByMatrixForward(bgr, forward, identity);
    EXPECT_MAT_EQUAL(forward, pixel(0.3F, 0.2F, 0.1F));
    cv::Mat backward(1, 1, CV_32FC3);
    multiplyImageByMatrixBackward(bgr, backward, identity);
    EXPECT_MAT_EQUAL(backward, pixel(0.3F, 0.2F, 0.1F));
    multiplyImageByMatrixBackward(forward, backward, identity);
    EXPECT_MAT_EQUAL(backward, bgr);
}

TEST(MultiplyImageByMatrix, TakesAndGivesTheStatedOrders) {
    cv::Mat M = (cv::Mat_<float>(3, 3) << 1, 10, 100, 2, 20, 200, 3, 30, 300);
    cv::Mat out(1, 1, CV_32FC3);
    multiplyImageByMatrixForward(pixel(1, 2, 3), out, M);
    EXPECT_MAT_EQUAL(out, pixel(123, 246, 369));
    multiplyImageByMatrixBackward(pixel(1, 2, 3), out, M);
    EXPECT_MAT_EQUAL(out, pixel(963, 642, 321));
}

TEST(MultiplyImageByMatrix, DoesNotClamp) {
    cv::Mat M = cv::Mat::eye(3, 3, CV_32F) * 2;
    cv::Mat out(1, 1, CV_32FC3);
    multiplyImageByMatrixBackward(pixel(-1, 0.5F, 1), out, M);
    EXPECT_MAT_EQUAL(out, pixel(2, 1, -2));
}

using Multiply = void (*)(const cv::Mat&, cv::Mat&, cv::Mat&);
using LiteralMultiply = void (*)(const cv::Mat&, cv::Mat&, const cv::Mat&);

void expectLiteral(Multiply multiply, LiteralMultiply literal) {
    cv::Mat M = testing::randomImage({3, 3}, 1, -1.5F, 1.5F, 42);
    for (const auto& [name, image] : testing::floatImages(3, 0.0F, 1.0F)) {
        SCOPED_TRACE(name);
        cv::Mat expected(image.size(), CV_32FC3);
        literal(image, expected, M);
        cv::Mat actual(image.size(), CV_32FC3);
        multiply(image, actual, M);
        EXPECT_MAT_EQUAL(actual, expected);
        cv::Mat inPlace = image.clone();
        multiply(inPlace, inPlace, M);
        EXPECT_MAT_EQUAL(inPlace, expected);
        cv::Mat gaps = testing::withGaps(image);
        multiply(gaps, gaps, M);
        EXPECT_MAT_EQUAL(gaps, expected);
    }
}

TEST(MultiplyImageByMatrix, ForwardIsTheLiteralVersion) {
    expectLiteral(multiplyImageByMatrixForward, reference::multiplyImageByMatrixForward);
}

TEST(MultiplyImageByMatrix, BackwardIsTheLiteralVersion) {
    expectLiteral(multiplyImageByMatrixBackward, reference::multiplyImageByMatrixBackward);
}

}  // namespace
}  // namespace likeness
