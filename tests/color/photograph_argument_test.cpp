#include "color/photograph_argument.hpp"

#include <likeness/color/unit_image.hpp>
#include "support/quiet_call.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <vector>

namespace likeness {
namespace {

using testing::expectRefusal;

TEST(UnitPhotograph, SharesWholeFloatsAndCopiesViewsAndOtherDepths) {
    const cv::Mat image = testing::randomImage({7, 5}, 3, 0, 1, 1);
    EXPECT_EQ(unitPhotograph("a", image).data, image.data);
    EXPECT_NE(ownUnitPhotograph("a", image).data, image.data);
    EXPECT_MAT_EQUAL(ownUnitPhotograph("a", image), image);
    const cv::Mat view = image(cv::Rect(1, 1, 3, 2));
    const cv::Mat copied = unitPhotograph("a", view);
    EXPECT_FALSE(copied.isSubmatrix());
    EXPECT_MAT_EQUAL(copied, view.clone());
    EXPECT_MAT_EQUAL(unitPhotograph("a", cv::Mat(2, 2, CV_8UC3, cv::Scalar::all(51))),
                     cv::Mat(2, 2, CV_32FC3, cv::Scalar::all(0.2)));
}

TEST(UnitPhotograph, NamesItsArgument) {
    expectRefusal("flash", "empty", [] { unitPhotograph("flash", cv::Mat()); });
    expectRefusal("flash", "not CV_32FC1", [] { ownUnitPhotograph("flash", cv::Mat(2, 2, CV_32FC1)); });
}

TEST(UnitPhotograph, HasRowsAndColumns) {
    const cv::Mat valid(3, 4, CV_32FC3);
    testing::expectCubesRefused("flash", valid, [](const cv::Mat& cube) { unitPhotograph("flash", cube); });
    testing::expectCubesRefused("b", valid, [&](const cv::Mat& cube) { requireSameSize("a", valid, "b", cube); });
    for (const int type : {CV_8UC3, CV_16UC3, CV_32FC3, CV_64FC3}) {
        EXPECT_THROW(toUnit(cv::Mat(std::vector<int>{3, 4, 2}, type)), std::invalid_argument);
    }
}

TEST(RequireFinite, NamesThePlaceAndTheValue) {
    cv::Mat image(4, 5, CV_32FC3, cv::Scalar::all(0.5));
    EXPECT_NO_THROW(requireFinite("a", image));
    image.at<cv::Vec3f>(2, 3)[1] = -std::numeric_limits<float>::infinity();
    expectRefusal("a", "row 2, column 3 is -inf", [&] { requireFinite("a", image); });
    expectRefusal("a", "row 2, column 3 is -inf", [&] { requireBounded("a", image); });
    image.at<cv::Vec3f>(2, 3)[1] = 1e6F;
    EXPECT_NO_THROW(requireBounded("a", image));
    image.at<cv::Vec3f>(0, 4)[2] = 1.1e6F;
    EXPECT_NO_THROW(requireFinite("a", image));
    expectRefusal("a", "row 0, column 4", [&] { requireBounded("a", image); });
    EXPECT_NO_THROW(requireFinite("a", image.colRange(0, 4)));
}

TEST(RequireNumbers, AtTheirLimits) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NO_THROW(requireBetween("t", 0, 0, 1));
    EXPECT_NO_THROW(requireBetween("t", 1, 0, 1));
    expectRefusal("t", "from 0 to 1, not 1.5", [] { requireBetween("t", 1.5, 0, 1); });
    expectRefusal("t", "not nan", [] { requireBetween("t", nan, 0, 1); });
    EXPECT_NO_THROW(requireAboveZero("t", 4, 4));
    expectRefusal("t", "above 0 and up to 4, not 0", [] { requireAboveZero("t", 0, 4); });
    expectRefusal("t", "not nan", [] { requireAboveZero("t", nan, 4); });
    EXPECT_EQ(elementName("images", 12), "images[12]");
}

}  // namespace
}  // namespace likeness
