// Holds every file and every image against what the image library itself reads and writes.
#include "codecs/image_codecs.hpp"

#include "codecs/image_corpus.hpp"
#include "codecs/jpeg_codec.hpp"
#include "codecs/png_codec.hpp"
#include "support/forked.hpp"
#include "support/mat_matchers.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <opencv2/imgcodecs.hpp>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <thread>
#include <utility>

namespace likeness {
namespace {

using namespace testing;

constexpr int usualFlags[] = {cv::IMREAD_UNCHANGED, cv::IMREAD_GRAYSCALE, cv::IMREAD_COLOR,
                              cv::IMREAD_GRAYSCALE | cv::IMREAD_ANYDEPTH, cv::IMREAD_COLOR | cv::IMREAD_ANYDEPTH};

struct Reading {
    cv::Mat image;
    bool threw = false;
    std::string printed;
};

Reading reading(const std::function<cv::Mat()>& read) {
    Reading result;
    ::testing::internal::CaptureStderr();
    try {
        result.image = read();
    } catch (const cv::Exception&) {
        result.threw = true;
    }
    result.printed = ::testing::internal::GetCapturedStderr();
    return result;
}

void save(const std::string& name, const std::string& bytes) {
    std::ofstream(name, std::ios::binary) << bytes;
}

cv::Mat readDirectly(cv::Mat (*decoded)(std::FILE*, int, cv::Mat), const char* name, int flags) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name, "rb"), std::fclose);
    return decoded(file.get(), flags, {});
}

class ImageCodecs : public ::testing::Test {
protected:
    static void expectSame(const std::string& name, const std::string& bytes) {
        save("image", bytes);
        for (const int flags : usualFlags) {
            SCOPED_TRACE(name + ", flags " + std::to_string(flags));
            const Reading expected = reading([flags] { return cv::imread("image", flags); });
            const Reading actual = reading([flags] { return decodedFile("image", flags); });
            EXPECT_MAT_EQUAL(actual.image, expected.image);
            EXPECT_EQ(actual.threw, expected.threw);
            EXPECT_EQ(actual.printed, expected.printed);
        }
    }

private:
    ScratchDirectory scratch_;
};

TEST_F(ImageCodecs, PlainJpegFilesAreReadDirectlyAndTheSame) {
    for (const auto& [name, bytes] : plainJpegFiles()) {
        expectSame(name, bytes);
        for (const int flags : usualFlags) {
            EXPECT_FALSE(readDirectly(decodedJpeg, "image", flags).empty()) << name;
        }
    }
}

/// Puts the rows together again.
class GatheredRows : public RowReceiver {
public:
    void begin(cv::Size size) override {
        image = cv::Mat(size, CV_8UC3, cv::Scalar(1, 2, 3));
        filled = 0;
    }
    void take(const cv::Mat& rows) override {
        ASSERT_LE(filled + rows.rows, image.rows);
        rows.copyTo(image.rowRange(filled, filled + rows.rows));
        filled += rows.rows;
    }

    cv::Mat image;
    int filled = 0;
};

TEST_F(ImageCodecs, RowsAreThoseOfTheImage) {
    std::vector<NamedFile> files = plainJpegFiles();
    for (const NamedFile& odd : oddJpegFiles()) {
        files.push_back(odd);
    }
    for (const NamedFile& png : plainPngFiles()) {
        files.push_back(png);
    }
    int taken = 0;
    for (const auto& [name, bytes] : files) {
        SCOPED_TRACE(name);
        save("image", bytes);
        GatheredRows rows;
        const std::optional<cv::Size> size = decodeRows("image", rows);
        EXPECT_EQ(size.has_value(),
                  bytes.substr(0, 2) == "\xFF\xD8" && !readDirectly(decodedJpeg, "image", cv::IMREAD_COLOR).empty());
        if (size) {
            ++taken;
            EXPECT_EQ(rows.filled, rows.image.rows);
            EXPECT_EQ(*size, cv::imread("image", cv::IMREAD_COLOR).size());
            EXPECT_MAT_EQUAL(rows.image, cv::imread("image", cv::IMREAD_COLOR | cv::IMREAD_IGNORE_ORIENTATION));
        }
    }
    EXPECT_GT(taken, 20);
    GatheredRows none;
    EXPECT_FALSE(decodeRows("missing", none));
    EXPECT_FALSE(decodeRows(".", none));
}

TEST_F(ImageCodecs, OddJpegFilesAreReadTheSame) {
    for (const auto& [name, bytes] : oddJpegFiles()) {
        expectSame(name, bytes);
    }
}

TEST_F(ImageCodecs, PlainPngFilesAreReadDirectlyAndTheSame) {
    for (const auto& [name, bytes] : plainPngFiles()) {
        expectSame(name, bytes);
        for (const int flags : usualFlags) {
            EXPECT_FALSE(readDirectly(decodedPng, "image", flags).empty()) << name;
        }
    }
}

TEST_F(ImageCodecs, OddPngFilesAreReadTheSame) {
    for (const auto& [name, bytes] : oddPngFiles()) {
        expectSame(name, bytes);
    }
}

TEST_F(ImageCodecs, OtherFormatsAreReadTheSame) {
    const cv::Mat picture = randomPhotograph({67, 51}, 5);
    for (const char* const extension : {".bmp", ".ppm", ".tiff", ".webp", ".jp2"}) {
        std::vector<uchar> bytes;
        ASSERT_TRUE(cv::imencode(extension, picture, bytes)) << extension;
        expectSame(extension, {bytes.begin(), bytes.end()});
    }
    for (const std::string& bytes : {std::string(), std::string("\xFF\xD8", 2), std::string("\xFF\xD8\xFF", 3),
                                     std::string("\x89PNG\r\n\x1A\n"), std::string("no image at all")}) {
        expectSame("no image", bytes);
    }
}

TEST_F(ImageCodecs, TheExamplePhotographsAreReadTheSame) {
    for (const std::string& name : examplePhotographNames()) {
        expectSame(name, contentOf(std::string(LIKENESS_EXAMPLE_PHOTOGRAPHS) + '/' + name));
    }
}

TEST_F(ImageCodecs, UnusualFlagsAreTheImageLibrarys) {
    save("image", jpegFile({}));
    for (const int flags :
         {static_cast<int>(cv::IMREAD_REDUCED_COLOR_2),
          static_cast<int>(cv::IMREAD_COLOR | cv::IMREAD_IGNORE_ORIENTATION), static_cast<int>(cv::IMREAD_ANYCOLOR)}) {
        EXPECT_MAT_EQUAL(decodedFile("image", flags), cv::imread("image", flags));
    }
}

TEST_F(ImageCodecs, LimitsOfTheEnvironmentAreTheImageLibrarys) {
    save("image", jpegFile({}));
    // The image library looks at the environment once: in a process of its own.
    EXPECT_EQ(statusOfForked([] {
                  ::setenv("OPENCV_IO_MAX_IMAGE_PIXELS", "100", 1);
                  return readDirectly(decodedJpeg, "image", cv::IMREAD_COLOR).empty();
              }),
              0);
}

TEST_F(ImageCodecs, TheMemoryThatIsOfferedIsTaken) {
    for (const std::string& file : {jpegFile({}), pngFile({2, 8, true, false, false}, {61, 47})}) {
        save("image", file);
        cv::Mat room(47, 61, CV_8UC3, cv::Scalar::all(77));
        const uchar* const memory = room.data;
        const cv::Mat image = decodedFile("image", cv::IMREAD_COLOR, std::move(room));
        EXPECT_EQ(image.data, memory);
        EXPECT_MAT_EQUAL(image, cv::imread("image"));
        EXPECT_MAT_EQUAL(decodedFile("image", cv::IMREAD_COLOR, cv::Mat(47, 60, CV_8UC3)), cv::imread("image"));
        EXPECT_MAT_EQUAL(decodedFile("image", cv::IMREAD_GRAYSCALE, cv::Mat(47, 61, CV_8UC3)),
                         cv::imread("image", cv::IMREAD_GRAYSCALE));
    }
    save("image", jpegFile({}).substr(0, 500));
    EXPECT_MAT_EQUAL(decodedFile("image", cv::IMREAD_COLOR, cv::Mat(47, 61, CV_8UC3)), cv::imread("image"));
}

TEST_F(ImageCodecs, BytesAreDecodedAsFilesAre) {
    for (const std::string& file : {jpegFile({}), pngFile({}), std::string("no image")}) {
        const std::vector<uchar> bytes(file.begin(), file.end());
        for (const int flags : usualFlags) {
            EXPECT_MAT_EQUAL(decodedBytes(bytes, flags), cv::imdecode(bytes, flags));
        }
    }
    EXPECT_THROW(decodedBytes({}, cv::IMREAD_COLOR), cv::Exception);
}

struct Writing {
    bool encoded = false;
    bool threw = false;
    std::vector<uchar> bytes;
};

template <typename Encode>
Writing writing(Encode encode) {
    Writing result;
    try {
        result.encoded = encode(result.bytes);
    } catch (const cv::Exception&) {
        result.threw = true;
        result.bytes.clear();
    }
    return result;
}

void expectWrittenTheSame(const std::string& extension, const cv::Mat& image, const std::vector<int>& parameters) {
    SCOPED_TRACE(extension + ' ' + cv::typeToString(image.type()) + ' ' + std::to_string(image.cols) + " x " +
                 std::to_string(image.rows));
    const Writing expected =
        writing([&](std::vector<uchar>& bytes) { return cv::imencode(extension, image, bytes, parameters); });
    const Writing actual =
        writing([&](std::vector<uchar>& bytes) { return encodeImage(extension, image, bytes, parameters); });
    EXPECT_EQ(actual.encoded, expected.encoded);
    EXPECT_EQ(actual.threw, expected.threw);
    EXPECT_EQ(actual.bytes, expected.bytes);
}

std::vector<cv::Mat> imagesToWrite() {
    const cv::Mat photograph = examplePhotograph("cat.jpg");
    std::vector<cv::Mat> images{photograph, photograph(cv::Rect(3, 5, 33, 21)), randomPhotograph({1, 1}, 3),
                                randomPhotograph({1, 30}, 4), cv::Mat()};
    cv::Mat alpha(9, 13, CV_8UC4);
    cv::randu(alpha, 0, 256);
    images.push_back(alpha);
    images.emplace_back(9, 13, CV_8UC2, cv::Scalar(3, 4));
    for (const int channels : {1, 3, 4}) {
        cv::Mat floats(23, 31, CV_32FC(channels));
        cv::randu(floats, -50, 300);
        floats.ptr<float>(0)[0] = std::numeric_limits<float>::quiet_NaN();
        floats.ptr<float>(0)[1] = std::numeric_limits<float>::infinity();
        images.push_back(floats);
        cv::Mat words(23, 31, CV_16UC(channels));
        cv::randu(words, 0, 65536);
        images.push_back(words);
        cv::Mat doubles;
        floats.convertTo(doubles, CV_64F);
        images.push_back(doubles);
    }
    return images;
}

TEST_F(ImageCodecs, FilesAreWrittenTheSame) {
    for (const cv::Mat& image : imagesToWrite()) {
        for (const char* const extension : {".jpg", ".jpeg", ".png", ".JPG", ".bmp", ".tiff", ".nothing", ""}) {
            expectWrittenTheSame(extension, image, {});
        }
        for (const int quality : {-3, 0, 1, 50, 90, 100, 101}) {
            expectWrittenTheSame(".jpg", image, {cv::IMWRITE_JPEG_QUALITY, quality});
        }
        expectWrittenTheSame(".jpg", image, {cv::IMWRITE_JPEG_PROGRESSIVE, 1});
        expectWrittenTheSame(".png", image, {cv::IMWRITE_PNG_COMPRESSION, 9});
    }
    expectWrittenTheSame(".jpg", cv::Mat(1, 65501, CV_8UC3, cv::Scalar::all(7)), {});
    expectWrittenTheSame(".png", cv::Mat(1, 65501, CV_8UC3, cv::Scalar::all(7)), {});
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
// Address sanitizers take the room that is limited here.
TEST_F(ImageCodecs, ShortOfMemoryAnImageIsNotWrittenAndNothingBreaks) {
    cv::Mat noise(3000, 4000, CV_8UC1);
    cv::randu(noise, 0, 256);
    for (const char* const extension : {".jpg", ".png"}) {
        int refused = 0;
        for (const rlim_t room : {1U, 4U, 12U, 20U}) {
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                rlim_t pages = 0;
                std::ifstream("/proc/self/statm") >> pages;
                const rlimit limit{pages * 4096 + (room << 20), RLIM_INFINITY};
                ::setrlimit(RLIMIT_AS, &limit);
                std::vector<uchar> bytes;
                try {
                    ::_exit(encodeImage(extension, noise, bytes, {}) ? 1 : 2);
                } catch (const std::bad_alloc&) {
                    ::_exit(3);
                }
            }
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status)) << extension << ", " << room << " MiB";
            EXPECT_TRUE(WEXITSTATUS(status) == 1 || WEXITSTATUS(status) == 3) << WEXITSTATUS(status);
            refused += WEXITSTATUS(status) == 3 ? 1 : 0;
        }
        EXPECT_GT(refused, 0) << extension;
    }
}
#endif

TEST_F(ImageCodecs, PlainImagesAreWrittenDirectly) {
    std::vector<uchar> bytes;
    EXPECT_TRUE(encodeJpeg(randomPhotograph({7, 5}, 1), 95, bytes));
    EXPECT_TRUE(encodePng(randomPhotograph({7, 5}, 1), bytes));
}

TEST_F(ImageCodecs, ThreadsAndForkedProcessesReadTheSame) {
    save("jpeg", jpegFile({}, {300, 200}));
    save("bmp", [] {
        std::vector<uchar> bytes;
        cv::imencode(".bmp", randomPhotograph({17, 11}, 5), bytes);
        return std::string(bytes.begin(), bytes.end());
    }());
    const cv::Mat jpeg = cv::imread("jpeg");
    const cv::Mat bmp = cv::imread("bmp");
    std::vector<std::thread> threads;
    std::vector<char> same(4, 0);
    for (std::size_t k = 0; k < same.size(); ++k) {
        threads.emplace_back([&, k] {
            same[k] = cv::norm(decodedFile("jpeg", cv::IMREAD_COLOR), jpeg, cv::NORM_INF) == 0 &&
                      cv::norm(decodedFile("bmp", cv::IMREAD_COLOR), bmp, cv::NORM_INF) == 0;
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(same, std::vector<char>(same.size(), 1));
    EXPECT_EQ(statusOfForked([&] {
                  return cv::norm(decodedFile("jpeg", cv::IMREAD_COLOR), jpeg, cv::NORM_INF) == 0 &&
                         cv::norm(decodedFile("bmp", cv::IMREAD_COLOR), bmp, cv::NORM_INF) == 0;
              }),
              0);
}

}  // namespace
}  // namespace likeness
