#include <likeness/structure/structure_tensor.hpp>
#include <likeness/threads.hpp>

#include <likeness/color/unit_image.hpp>
#include "reference/structure_reference.hpp"
#include "support/mat_matchers.hpp"
#include "support/quiet_call.hpp"
#include "support/scratch_directory.hpp"
#include "support/test_images.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <filesystem>
#include <map>

namespace likeness {
namespace {

/// Keeps what it is handed.
class Recorder final : public Diagnostics {
public:
    bool wantsFiles() const noexcept override { return true; }
    bool wantsMessages() const noexcept override { return true; }
    void writeImage(const std::string& name, const cv::Mat& image) const override {
        names.push_back(name);
        images[name] = image.clone();
    }
    void writeMap(const std::string& /*name*/, const cv::Mat& /*map*/, int /*rows*/, int /*cols*/) const override {
        ADD_FAILURE() << "no text is expected";
    }
    std::unique_ptr<TextDump> openText(const std::string& name) const override { return dropAll().openText(name); }
    void print(std::string_view text) const override { printed += text; }

    mutable std::vector<std::string> names;
    mutable std::map<std::string, cv::Mat> images;
    mutable std::string printed;
};

cv::Mat scaled(const std::string& photograph, double scale) {
    cv::Mat image;
    testing::examplePhotograph(photograph).convertTo(image, CV_32F, scale);
    return image;
}

void expectLiteral(cv::Mat image, float size) {
    cv::Mat out(image.size(), CV_32F, cv::Scalar(-1));
    const Recorder recorder;
    computeStructuralTensor(image, out, size, recorder);
    const reference::StructuralTensor expected = reference::computeStructuralTensor(image, size);
    EXPECT_MAT_EQUAL(out, expected.out);
    EXPECT_EQ(recorder.printed, expected.text);
    ASSERT_EQ(recorder.names.size(), expected.images.size());
    for (std::size_t k = 0; k < expected.images.size(); ++k) {
        const auto& [name, shown] = expected.images[k];
        SCOPED_TRACE(name);
        EXPECT_EQ(recorder.names[k], name);
        EXPECT_MAT_EQUAL(recorder.images[name], shown);
    }
}

TEST(ComputeStructuralTensor, IsTheLiteralOneOnMadeImages) {
    for (const float white : {1.0F, 255.0F, 1e4F}) {
        for (const testing::NamedImage& made : testing::floatImages(3, 0, white)) {
            SCOPED_TRACE(made.name + " up to " + std::to_string(white));
            expectLiteral(made.image, 3);
        }
    }
}

TEST(ComputeStructuralTensor, IsTheLiteralOneOnPhotographs) {
    for (const std::string& name : testing::examplePhotographNames()) {
        SCOPED_TRACE(name);
        expectLiteral(scaled(name, 1), 3);
    }
}

TEST(ComputeStructuralTensor, IsTheLiteralOneForEveryKernel) {
    // Kernels of more rows than are worked on at a time, and than the image has; 5.9 counts as 5.
    for (const float size : {1.0F, 5.9F, 7.0F, 41.0F, 75.0F}) {
        SCOPED_TRACE(size);
        expectLiteral(testing::randomImage({23, 70}, 3, 0, 255, 4), size);
        expectLiteral(testing::randomImage({40, 33}, 3, 0, 255, 5), size);
    }
}

TEST(ComputeStructuralTensor, AConstantImageHasNoOrientation) {
    cv::Mat image(40, 30, CV_32FC3, cv::Scalar(10, 20, 30));
    cv::Mat out(image.size(), CV_32F);
    const Recorder recorder;
    computeStructuralTensor(image, out, 3, recorder);
    EXPECT_MAT_EQUAL(out, cv::Mat(image.size(), CV_32F, cv::Scalar(0.5)));
    const cv::Mat nan(image.size(), CV_32F, cv::Scalar(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_MAT_EQUAL(recorder.images["coherence.jpg"], nan);
    EXPECT_EQ(recorder.printed, "[0, 0;\n 0, 0]eig V[0;\n 0] 0\n");
}

TEST(ComputeStructuralTensor, AStrongStraightEdgeIsOriented) {
    cv::Mat image(50, 20, CV_32FC3, cv::Scalar::all(0));
    image.colRange(10, 20).setTo(cv::Scalar::all(255));
    cv::Mat out(image.size(), CV_32F);
    const Recorder recorder;
    computeStructuralTensor(image, out, 3, recorder);
    // The smoothed step climbs over 63.75 and 191.25. The tensor's first entry is 3 (4 x 191.25)^2 = 1755675 on either
    // side of the edge and 3 (4 x 63.75)^2 = 195075 beside it, smoothed 1365525; the rest is 0. So the strength is
    // 0.5 exp(-1e10 / 1365525^2) + 0.5 = 0.99732573.
    for (int i = 0; i < image.rows; ++i) {
        EXPECT_FLOAT_EQ(out.at<float>(i, 9), 0.99732573F);
        EXPECT_FLOAT_EQ(out.at<float>(i, 10), 0.99732573F);
        EXPECT_EQ(out.at<float>(i, 2), 0.5F);
        EXPECT_EQ(recorder.images["coherence.jpg"].at<float>(i, 9), 255.0F);
    }
}

TEST(ComputeStructuralTensor, PrintsTheFirstPixelInFull) {
    cv::Mat image(9, 9, CV_32FC3);
    for (int i = 0; i < 9; ++i) {
        for (int j = 0; j < 9; ++j) {
            image.at<cv::Vec3f>(i, j) = cv::Vec3f::all(10.0F * static_cast<float>(j));
        }
    }
    cv::Mat out(image.size(), CV_32F);
    // Mirrored at its edge the ramp has no slope there and 4 x 15 in the next column; smoothed, 3 x 60^2 / 2 = 5400.
    const Recorder recorder;
    computeStructuralTensor(image, out, 3, recorder);
    EXPECT_EQ(recorder.printed, "[73.484695, 0;\n 0, 73.484695]eig V[5400;\n 0] 73.4847\n");
}

TEST(ComputeStructuralTensor, WritesItsFilesIntoTheWorkingDirectory) {
    const testing::ScratchDirectory scratch;
    cv::Mat image = scaled("cat.jpg", 1);
    cv::Mat out(image.size(), CV_32F);
    const std::string printed = testing::printedBy([&] { computeStructuralTensor(image, out, 3); });
    const reference::StructuralTensor expected = reference::computeStructuralTensor(image, 3);
    EXPECT_EQ(printed, expected.text);
    for (const auto& [name, shown] : expected.images) {
        ASSERT_TRUE(cv::imwrite("expected.jpg", shown));
        EXPECT_EQ(testing::contentOf(name), testing::contentOf("expected.jpg")) << name;
    }
    const auto files = std::distance(std::filesystem::directory_iterator(scratch.path()), {});
    EXPECT_EQ(files, 8) << "the seven and the one to compare with";
}

TEST(ComputeStructuralTensor, ShowsNothingWhereNothingIsWanted) {
    const testing::ScratchDirectory scratch;
    cv::Mat image = scaled("coffee.jpg", 1);
    cv::Mat out(image.size(), CV_32F);
    const std::string printed = testing::printedBy([&] { computeStructuralTensor(image, out, 3, dropAll()); });
    EXPECT_EQ(printed, "");
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
    EXPECT_MAT_EQUAL(out, reference::computeStructuralTensor(image, 3).out);
}

TEST(ComputeStructuralTensor, NaNStaysInItsNeighbourhood) {
    cv::Mat image = testing::randomImage({41, 70}, 3, 0, 255, 6);
    cv::Mat clean(image.size(), CV_32F);
    computeStructuralTensor(image, clean, 3, dropAll());
    image.at<cv::Vec3f>(33, 20)[1] = std::numeric_limits<float>::quiet_NaN();
    cv::Mat out(image.size(), CV_32F);
    computeStructuralTensor(image, out, 3, dropAll());
    const cv::Rect touched(17, 30, 7, 7);  // two smoothings and a derivative reach 3 pixels
    for (int i = 0; i < image.rows; ++i) {
        for (int j = 0; j < image.cols; ++j) {
            if (touched.contains({j, i})) {
                EXPECT_TRUE(std::isnan(out.at<float>(i, j))) << i << " " << j;
            } else {
                EXPECT_EQ(out.at<float>(i, j), clean.at<float>(i, j)) << i << " " << j;
            }
        }
    }
}

TEST(ComputeStructuralTensor, AFirstTensorWithoutEigenvaluesIsPrintedAsNaN) {
    cv::Mat image(5, 5, CV_32FC3, cv::Scalar::all(std::numeric_limits<double>::quiet_NaN()));
    cv::Mat out(image.size(), CV_32F);
    const Recorder recorder;
    computeStructuralTensor(image, out, 3, recorder);
    EXPECT_EQ(recorder.printed, reference::computeStructuralTensor(image, 3).text);
    EXPECT_NE(recorder.printed.find("eig V[nan;\n nan] "), std::string::npos) << recorder.printed;
}

TEST(ComputeStructuralTensor, LeavesInvalidKernelsToTheImageLibrary) {
    const testing::ScratchDirectory scratch;
    cv::Mat image = testing::randomImage({8, 8}, 3, 0, 255, 7);
    cv::Mat out(image.size(), CV_32F);
    for (const float size : {2.0F, 0.5F, 0.0F, -3.0F}) {
        EXPECT_THROW(computeStructuralTensor(image, out, size), cv::Exception) << size;
    }
    cv::Mat empty;
    EXPECT_THROW(computeStructuralTensor(empty, out, 3), cv::Exception);
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

/// Counts the memory of images.
class CountingAllocator final : public cv::MatAllocator {
public:
#if CV_VERSION_MAJOR >= 4
    using Access = cv::AccessFlag;
#else
    using Access = int;
#endif
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step, Access flags,
                           cv::UMatUsageFlags usage) const override {
        cv::UMatData* const memory = cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
        memory->currAllocator = this;
        live += memory->size;
        peak = std::max(peak, live);
        ++calls;
        return memory;
    }
    bool allocate(cv::UMatData* memory, Access /*flags*/, cv::UMatUsageFlags /*usage*/) const override {
        return memory != nullptr;
    }
    void deallocate(cv::UMatData* memory) const override {
        if (memory != nullptr) {
            live -= memory->size;
            cv::Mat::getStdAllocator()->deallocate(memory);
        }
    }

    mutable std::size_t live = 0;
    mutable std::size_t peak = 0;
    mutable std::size_t calls = 0;
};

/// Lets an allocator serve all images while the object lives.
class DefaultAllocator {
public:
    explicit DefaultAllocator(cv::MatAllocator& allocator) : previous_(cv::Mat::getDefaultAllocator()) {
        cv::Mat::setDefaultAllocator(&allocator);
    }
    ~DefaultAllocator() { cv::Mat::setDefaultAllocator(previous_); }
    DefaultAllocator(const DefaultAllocator&) = delete;
    DefaultAllocator& operator=(const DefaultAllocator&) = delete;

private:
    cv::MatAllocator* previous_;
};

TEST(ComputeStructuralTensor, TakesMemoryOfAFewPlanesAndGivesItBack) {
    cv::Mat image = testing::randomImage({100, 2000}, 3, 0, 255, 8);
    cv::Mat out(image.size(), CV_32F);
    const std::size_t plane = out.total() * sizeof(float);
    setThreads(1);  // each has planes of its own
    CountingAllocator dropped;
    {
        const DefaultAllocator use(dropped);
        computeStructuralTensor(image, out, 3, dropAll());
    }
    EXPECT_EQ(dropped.live, 0U);
    EXPECT_LT(dropped.peak, plane / 2) << "some rows of ten planes";
    EXPECT_LT(dropped.calls, 3000U) << "for 200,000 pixels";

    const testing::ScratchDirectory scratch;
    CountingAllocator kept;
    {
        const DefaultAllocator use(kept);
        testing::printedBy([&] { computeStructuralTensor(image, out, 3); });
    }
    EXPECT_EQ(kept.live, 0U);
    EXPECT_LT(kept.peak, 10 * plane) << "seven planes that are shown, and what the image writer takes";
    setThreads(0);
}

/// The road through the given operation, its coherence as the dump has it.
class CoherenceDump final : public Diagnostics {
public:
    bool wantsFiles() const noexcept override { return true; }
    bool wantsMessages() const noexcept override { return false; }
    void writeImage(const std::string& name, const cv::Mat& image) const override {
        if (name == "coherence.jpg") {
            coherence = image / 255.0;
        }
    }
    void writeMap(const std::string& /*name*/, const cv::Mat& /*map*/, int /*rows*/, int /*cols*/) const override {}
    std::unique_ptr<TextDump> openText(const std::string& name) const override { return dropAll().openText(name); }
    void print(std::string_view /*text*/) const override {}

    mutable cv::Mat coherence;
};

TEST(OrientedStructure, IsTheGivenOneOfEveryDepth) {
    const cv::Mat unit = testing::exampleImage("coffee.jpg")(cv::Rect(30, 30, 70, 75)).clone();
    for (const int depth : {CV_8U, CV_16U, CV_32F, CV_64F}) {
        for (const int size : {3, 7}) {
            cv::Mat photograph;
            unit.convertTo(photograph, depth, depth == CV_8U ? 255 : depth == CV_16U ? 65535 : 1);
            cv::Mat image = toUnit(photograph) * 255.0;
            cv::Mat strength(image.size(), CV_32F);
            const CoherenceDump dump;
            computeStructuralTensor(image, strength, static_cast<float>(size), dump);
            StructureOptions options;
            options.size = size;
            for (const cv::Mat& given : {photograph, testing::withGaps(photograph)}) {
                const Structure structure =
                    testing::quietly(given, [&](const cv::Mat& some) { return orientedStructure(some, options); });
                EXPECT_MAT_EQUAL(structure.strength, strength);
                EXPECT_MAT_EQUAL(structure.coherence, dump.coherence);
            }
            options.coherence = false;
            EXPECT_MAT_EQUAL(orientedStructure(photograph, options).strength, strength);
            EXPECT_TRUE(orientedStructure(photograph, options).coherence.empty());
        }
    }
}

TEST(OrientedStructure, SmallImages) {
    EXPECT_TRUE(orientedStructure(cv::Mat()).strength.empty());
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(40, 1), cv::Size(1, 40)}) {
        const Structure structure = orientedStructure(testing::randomImage(size, 3, 0, 1, 3));
        EXPECT_EQ(structure.strength.size(), size);
        EXPECT_EQ(structure.coherence.size(), size);
    }
    const Structure flat = orientedStructure(cv::Mat(5, 5, CV_8UC3, cv::Scalar::all(9)));
    EXPECT_MAT_EQUAL(flat.strength, cv::Mat(5, 5, CV_32F, cv::Scalar(0.5)));
    EXPECT_TRUE(std::isnan(flat.coherence.at<float>(2, 2)));
}

TEST(OrientedStructure, RefusesWhatItCannotDo) {
    const cv::Mat image = testing::randomImage({9, 8}, 3, 0, 1, 4);
    testing::expectRefusal("photograph", "not CV_8UC1", [] { orientedStructure(cv::Mat(4, 4, CV_8UC1)); });
    StructureOptions options;
    for (const int size : {-1, 0, 101}) {
        options.size = size;
        testing::expectRefusal("size", "from 1 to 99", [&] { orientedStructure(image, options); });
    }
    options.size = 4;
    testing::expectRefusal("size", "odd, not 4", [&] { orientedStructure(image, options); });
}

TEST(OrientedStructure, ItsCallerHearsOfItAndEndsIt) {
    const cv::Mat image = testing::randomImage({9, 70}, 3, 0, 1, 5);
    EXPECT_EQ(testing::expectSteps([&](const Watch& watch) { orientedStructure(image, {}, watch); }), 3);
}

}  // namespace
}  // namespace likeness
