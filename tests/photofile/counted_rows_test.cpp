// Colours that are counted while a photograph is read are those of its pixels, converted or not.
#include "comparison/counted_rows.hpp"

#include <likeness/comparison/analysis.hpp>
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"
#include "photofile/profile_tagging.hpp"
#include "photofile/test_profiles.hpp"
#include "support/distribution_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <fstream>

namespace likeness::testing {
namespace {

using Bytes = std::vector<unsigned char>;

class CountedRowsOfFiles : public ::testing::Test {
protected:
    /// What is read with rows has the distributions of what is read as an image.
    /// @param counted  whether it is counted at all
    void expectSame(const std::string& path, bool counted = true, const ProfileChoice& choice = {},
                    bool converts = true) const {
        SCOPED_TRACE(path);
        ManagedColors colors(choice);
        const PhotographRead image = readPhotograph(path, PhotographValues::bytesOrFloats, usualMostPixels, &colors);
        ASSERT_EQ(image.problem, "");
        CountedPhotographRows rows(converts);
        ManagedColors colorsOfRows(choice);
        const PhotographRead read = readPhotographPair(path, path, PhotographValues::bytesOrFloats, usualMostPixels,
                                                       &colorsOfRows, nullptr, &rows)
                                        .first;
        EXPECT_EQ(read.problem, "");
        EXPECT_EQ(read.remarks, image.remarks);
        EXPECT_EQ(read.bits, image.bits);
        EXPECT_EQ(read.size(), image.bgr.size());
        EXPECT_EQ(!read.rowsOf.empty(), counted);
        EXPECT_EQ(colorsOfRows.use().remark(), colors.use().remark());
        const SeenPhotograph seen = rows.seen(read.bgr, read.rowsOf);
        for (const AppearanceModelKind kind : {AppearanceModelKind::likeness, AppearanceModelKind::ciecam16}) {
            AnalysisOptions options;
            options.model.kind = kind;
            const auto [actual, other] = analyzePair(seen, {image.bgr}, options, {});
            expectEqual(actual.distributions(), other.distributions());
            EXPECT_EQ(actual.backgroundLuminance(), other.backgroundLuminance());
        }
    }

    std::string saved(const std::string& name, const Bytes& bytes) const {
        std::ofstream(name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return name;
    }

    static Bytes encoded(const std::string& extension, const cv::Mat& image) {
        Bytes bytes;
        EXPECT_TRUE(cv::imencode(extension, image, bytes));
        return bytes;
    }

    const ScratchDirectory scratch_;
    const cv::Mat photograph_ = examplePhotograph("cat.jpg")(cv::Rect(100, 60, 190, 170)).clone();
    const ColorProfile::Shared p3_ = ColorProfile::named("display-p3");
};

TEST_F(CountedRowsOfFiles, OfBytesAsTheyStand) {
    expectSame(saved("plain.jpg", encoded(".jpg", photograph_)));
    expectSame(saved("plain.png", encoded(".png", photograph_)), false);
}

TEST_F(CountedRowsOfFiles, OfConvertedBytes) {
    Bytes jpeg = encoded(".jpg", photograph_);
    tagJpeg(jpeg, *p3_);
    expectSame(saved("p3.jpg", jpeg));
    expectSame("p3.jpg", false, {}, false);
    ProfileChoice ignoring;
    ignoring.ignore = true;
    expectSame("p3.jpg", true, ignoring);
    Bytes png = encoded(".png", photograph_);
    tagPng(png, *p3_);
    expectSame(saved("p3.png", png));
    Bytes tiff = encoded(".tif", photograph_);
    tagTiff(tiff, *p3_);
    expectSame(saved("p3.tif", tiff));
    Bytes onePixel = encoded(".png", photograph_(cv::Rect(3, 3, 1, 1)));
    tagPng(onePixel, *p3_);
    expectSame(saved("one.png", onePixel));
    ProfileChoice assuming;
    assuming.assumed = ColorProfile::named("prophoto");
    expectSame(saved("plain.jpg", encoded(".jpg", photograph_)), true, assuming);
}

TEST_F(CountedRowsOfFiles, OfTablesGreyAlphaAndLinearBytes) {
    Bytes table = encoded(".jpg", photograph_);
    tagJpeg(table, *ColorProfile::ofIcc(lutProfile()));
    expectSame(saved("table.jpg", table));
    cv::Mat grey;
    cv::extractChannel(photograph_, grey, 1);
    Bytes ofGrey = encoded(".jpg", grey);
    tagJpeg(ofGrey, *ColorProfile::ofIcc(greyProfile(1.3)));
    expectSame(saved("grey.jpg", ofGrey));
    cv::Mat withAlpha(photograph_.size(), CV_8UC4, cv::Scalar::all(100));
    const int fromTo[] = {0, 0, 1, 1, 2, 2};
    cv::mixChannels(&photograph_, 1, &withAlpha, 1, fromTo, 3);
    Bytes alpha = encoded(".png", withAlpha);
    tagPng(alpha, *p3_);
    expectSame(saved("alpha.png", alpha));
}

TEST_F(CountedRowsOfFiles, WordsAndFloatsAreNotCounted) {
    cv::Mat words;
    photograph_.convertTo(words, CV_16U, 257);
    Bytes png = encoded(".png", words);
    tagPng(png, *p3_);
    expectSame(saved("words.png", png), false);
}

TEST_F(CountedRowsOfFiles, UprightAsTheImageIs) {
    Bytes jpeg = encoded(".jpg", photograph_);
    tagJpeg(jpeg, *p3_);
    // A quarter turn, in Exif data behind the first mark.
    const unsigned char turn[] = {0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8,
                                  0,    1,    1, 18, 0,   3,   0,   0,   0, 1, 0,   6,   0, 0,  0, 0, 0, 0};
    jpeg.insert(jpeg.begin() + 2, std::begin(turn), std::end(turn));
    expectSame(saved("turned.jpg", jpeg));
    EXPECT_EQ(readPhotograph("turned.jpg").bgr.size(), cv::Size(photograph_.rows, photograph_.cols));
}

TEST(DependsOnOrder, WhereSumsAreMade) {
    EXPECT_FALSE(dependsOnOrder({}));
    AnalysisOptions options;
    options.hue = HueWeights::pixels;
    EXPECT_FALSE(dependsOnOrder(options));
    options.hue = HueWeights::chroma;
    EXPECT_TRUE(dependsOnOrder(options));
    options.hue.reset();
    options.model.pictureWhite = PictureWhite::grayWorld;
    EXPECT_TRUE(dependsOnOrder(options));
}

}  // namespace
}  // namespace likeness::testing
