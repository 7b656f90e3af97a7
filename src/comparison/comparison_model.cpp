#include <likeness/comparison/comparison_model.hpp>

#include <likeness/appearance/viewing_conditions.hpp>

#include <stdexcept>

namespace likeness {
namespace {

constexpr double grayBackground = 20;

}  // namespace

const char* nameOf(PictureWhite white) {
    switch (white) {
        case PictureWhite::grayWorld:
            return "gray-world";
        case PictureWhite::brightestPixel:
            return "brightest";
        default:
            return "encoding";
    }
}

bool operator==(const ComparisonModel& first, const ComparisonModel& second) {
    if (first.kind != second.kind) {
        return false;
    }
    if (first.kind == AppearanceModelKind::likeness) {
        return first.white == second.white && first.black == second.black && first.background == second.background;
    }
    return first.conditions == second.conditions && first.pictureWhite == second.pictureWhite;
}

void checkComparisonModel(const ComparisonModel& model) {
    if (model.kind != AppearanceModelKind::likeness) {
        publishedModelOf(model);
    } else if (model.background && !(*model.background > 0 && *model.background <= double{whiteLuminance})) {
        throw std::invalid_argument("the background must be above 0 and up to 100");
    }
}

PublishedModel publishedModelOf(const ComparisonModel& model) {
    ViewingConditions conditions = model.conditions;
    if (!conditions.background) {
        conditions.background = grayBackground;
    }
    return PublishedModel(model.kind, conditions);
}

cv::Matx33d xyzToConditions(const PublishedModel& model, const Xyz& pictureWhite) {
    const Xyz& target = model.conditions().white;
    if (pictureWhite.x == target.x && pictureWhite.y == target.y && pictureWhite.z == target.z) {
        return cv::Matx33d::eye();
    }
    const cv::Matx33d toSharp = sharpenedFromXyz(model.kind());
    const cv::Vec3d from = toSharp * cv::Vec3d(pictureWhite.x, pictureWhite.y, pictureWhite.z);
    const cv::Vec3d to = toSharp * cv::Vec3d(target.x, target.y, target.z);
    cv::Matx33d scale = cv::Matx33d::zeros();
    for (int k = 0; k < 3; ++k) {
        if (!(from[k] > 0)) {
            throw std::invalid_argument(
                "the white of the picture lies outside the colours of lights: a cone would not respond to it");
        }
        scale(k, k) = to[k] / from[k];
    }
    return toSharp.inv() * scale * toSharp;
}

}  // namespace likeness
