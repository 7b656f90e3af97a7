#include "image_file.hpp"

#include "codecs/image_codecs.hpp"
#include "files/left_descriptors.hpp"
#include "files/refusal.hpp"
#include "harness.hpp"
#include "photofile/counted_part.hpp"
#include "photofile/decoder_remarks.hpp"
#include "photofile/file_description.hpp"
#include "photofile/managed_colors.hpp"
#include "photofile/photograph_reader.hpp"

#include <cstring>

namespace likeness::fuzz {
namespace {

constexpr std::uint64_t mostPixels = std::uint64_t{1} << 18;

class Quiet final : public FileAccess {
public:
    void tell(std::string_view) const override {}
    void warn(std::string_view line) const override {
        require(line.find('\n') == std::string_view::npos, "a warning is one line");
    }
    std::uint64_t mostPixels() const noexcept override { return likeness::fuzz::mostPixels; }
    const ProfileChoice& profiles() const noexcept override { return profiles_; }

private:
    ProfileChoice profiles_;
};

bool sameImage(const cv::Mat& a, const cv::Mat& b) {
    if (a.size() != b.size() || a.type() != b.type()) {
        return false;
    }
    for (int y = 0; y < a.rows; ++y) {
        if (std::memcmp(a.ptr(y), b.ptr(y), static_cast<std::size_t>(a.cols) * a.elemSize()) != 0) {
            return false;
        }
    }
    return true;
}

PhotographRead readOnce(const std::string& path, PhotographValues values, bool managed, RowReceiver* rows = nullptr) {
    const ProfileChoice choice;
    ManagedColors colors(choice);
    return readPhotographAmongOthers(path, values, mostPixels, managed ? &colors : nullptr, {}, rows);
}

/// Whether an image is another one, turned or mirrored in one of the eight ways of Exif data.
bool isSomeViewOf(const cv::Mat& image, const cv::Mat& stored) {
    for (const bool transposed : {false, true}) {
        cv::Mat view = stored;
        if (transposed) {
            cv::transpose(stored, view);
        }
        if (sameImage(view, image)) {
            return true;
        }
        for (const int axis : {0, 1, -1}) {
            cv::Mat flipped;
            cv::flip(view, flipped, axis);
            if (sameImage(flipped, image)) {
                return true;
            }
        }
    }
    return false;
}

/// Puts the rows together again.
class Gathered final : public RowReceiver {
public:
    void begin(cv::Size size) override {
        image.create(size, CV_8UC3);
        filled_ = 0;
    }
    void take(const cv::Mat& rows) override {
        require(rows.type() == CV_8UC3 && rows.cols == image.cols && filled_ + rows.rows <= image.rows,
                "rows are those of the photograph");
        rows.copyTo(image.rowRange(filled_, filled_ + rows.rows));
        filled_ += rows.rows;
    }
    bool whole() const { return filled_ == image.rows; }

    cv::Mat image;

private:
    int filled_ = 0;
};

/// Its alpha channel weighs it, or is refused.
void useAlpha(const std::string& path, const cv::Mat& photograph) {
    PartChoice choice;
    choice.alpha.use = AlphaChoice::Use::weight;
    std::vector<std::string> remarks;
    cv::Mat colors = photograph;
    try {
        const PixelWeights weights = countedPart(path, colors, choice, {}, mostPixels, remarks);
        require(weights.countAll() || weights.size() == photograph.size(),
                "an alpha channel has the photograph's size");
    } catch (const Refusal&) {
        // Multiplied colours, nothing that counts.
    }
}

}  // namespace

void readAsPhotograph(const std::uint8_t* data, std::size_t size, const std::string& extension) {
    // The libraries' remarks are sorted once for the process.
    static const RemarkSorter* const sorter = new RemarkSorter;
    require(sorter != nullptr, "remarks are sorted");
    const std::string path = scratchPath("photograph" + extension);
    writeFile(path, textOf(data, size));
    closeDescriptorsOf(path);  // that the last one left

    const PhotographRead photograph = readOnce(path, PhotographValues::stored, true);
    require(photograph.isRead() != !photograph.problem.empty(), "there are pixels, or a problem");
    if (!photograph.isRead()) {
        return;
    }
    require(static_cast<std::uint64_t>(photograph.bgr.total()) <= mostPixels, "no more pixels than allowed");
    require(photograph.bgr.channels() == 3, "there are three channels");
    const int depth = photograph.bgr.depth();
    require(depth == CV_8U || depth == CV_16U || depth == CV_32F, "values are bytes, words or floats");
    require(sameImage(readOnce(path, PhotographValues::stored, true).bgr, photograph.bgr),
            "a photograph that is read twice is the same");
    useAlpha(path, photograph.bgr);

    const PhotographRead bytes = readOnce(path, PhotographValues::bytes, false);
    if (bytes.isRead()) {
        require(bytes.bgr.type() == CV_8UC3 && bytes.bgr.size() == photograph.size(), "bytes have the same shape");
        Gathered gathered;
        const PhotographRead inRows = readOnce(path, PhotographValues::bytes, false, &gathered);
        require(inRows.isRead() && inRows.size() == bytes.size(), "rows have the same size");
        if (inRows.bgr.empty()) {
            require(gathered.whole(), "all rows are handed on");
            require(isSomeViewOf(bytes.bgr, gathered.image), "rows are the image before its orientation");
        }
        std::vector<uchar> png;
        require(encodeImage(".png", bytes.bgr, png), "bytes are written as PNG");
        require(sameImage(decodedBytes(png, cv::IMREAD_COLOR), bytes.bgr), "a PNG that is written is read equal");
    }
}

void describe(const std::string& path) {
    const Quiet access;
    const FileDescription description = describeFile(access, path);
    require(description.bytes == std::filesystem::file_size(path), "a description has the file's length");
    require(!description.format.empty() && description.pages >= 1, "a description names the format");
}

}  // namespace likeness::fuzz
