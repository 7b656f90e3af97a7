// The statements of the table in the README, as they stand there.
#include <likeness/likeness.hpp>

#include <iostream>
#include <vector>

using namespace likeness;

namespace {

int failures = 0;

void check(bool condition, const char* what) {
    if (!condition) {
        std::cerr << what << '\n';
        ++failures;
    }
}

bool isPhotograph(const cv::Mat& image) {
    return image.type() == CV_32FC3 && image.size() == cv::Size(64, 48) && cv::checkRange(image);
}

cv::Mat made(std::uint64_t seed) {
    cv::Mat photograph(48, 64, CV_8UC3);
    cv::RNG random(seed);
    random.fill(photograph, cv::RNG::UNIFORM, 20, 220);
    return photograph;
}

}  // namespace

/// @param arguments  one where the library has no module of archives
int main(int arguments, char**) {
    const cv::Mat photo = made(1);
    const cv::Mat like = made(2);
    const cv::Mat& palette = like;
    const cv::Mat& first = photo;
    const cv::Mat& second = like;
    const cv::Mat& moving = photo;
    const cv::Mat& reference = like;
    const std::vector<cv::Mat> bracket = {photo, like};
    {
        LikenessCoefficients k = compare(analyze(first), analyze(second));
        check(k.brightness > 0 && k.brightness < 1 && k.saturation > 0 && k.saturation < 1, "compare");
    }
    {
        TileComparison tiles = compareTiles(first, second);
        check(tiles.tiles.size() == 64 && tiles.tiles[9].first == cv::Rect(8, 6, 8, 6), "compareTiles");
    }
    if (arguments == 1) {
        ArchivedPhotograph archived;
        archived.path = "photo";
        archived.width = photo.cols;
        archived.height = photo.rows;
        archived.distributions = analyze(photo).distributions();
        writeArchive("photos.likeness", {archived});
        std::vector<ArchiveHit> hits = Archive("photos.likeness").nearest(photo);
        check(hits.size() == 1 && hits[0].score > 0.999, "nearest");
    }
    {
        AppearanceMaps maps = appearanceMaps(photo);
        check(maps.chroma.type() == CV_32FC1 && maps.hueDegrees.size() == photo.size(), "appearanceMaps");
    }
    {
        cv::Mat lab = labFromBgr(photo);
        check(isPhotograph(lab), "labFromBgr");
    }
    {
        cv::Mat xyz = xyzFromBgr(photo);
        check(isPhotograph(xyz), "xyzFromBgr");
    }
    {
        White white = grayWorldWhite(photo).white;
        check(white.xyz[1] > 0, "grayWorldWhite");
        cv::Mat adapted = adaptToD65(photo, white);
        check(isPhotograph(adapted), "adaptToD65");
    }
    {
        cv::Mat adapted = adaptTo(photo, like);
        check(isPhotograph(adapted), "adaptTo");
    }
    {
        cv::Mat moved = transferColors(photo, palette).image;
        check(isPhotograph(moved), "transferColors");
    }
    {
        cv::Mat smoothed = smooth(photo);
        check(isPhotograph(smoothed), "smooth");
    }
    {
        cv::Mat fused = fuseExposures(bracket);
        check(isPhotograph(fused), "fuseExposures");
    }
    {
        cv::Mat matched = matchLightness(photo, like).image;
        check(isPhotograph(matched), "matchLightness");
    }
    {
        cv::Mat aligned = alignTo(moving, reference).image;
        check(isPhotograph(aligned), "alignTo");
    }
    return failures;
}
