// What nobody can save, without the image library: both JPEG photographs decoded at the same time by libjpeg-turbo straight
// to B, G, R; on request also three grey JPEG images of the size of the second one encoded and a text written, as the
// dumps of `likeness` are.
#include "direct_jpeg.hpp"

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace likeness::bench;

void encodeGrey(const Picture& picture, std::size_t channel, const char* path) {
    const File file = opened(path, "wb");
    jpeg_error_mgr errors{};
    jpeg_compress_struct codec{};
    codec.err = jpeg_std_error(&errors);
    jpeg_create_compress(&codec);
    jpeg_stdio_dest(&codec, file.get());
    codec.image_width = static_cast<JDIMENSION>(picture.cols);
    codec.image_height = static_cast<JDIMENSION>(picture.rows);
    codec.input_components = 1;
    codec.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&codec);
    jpeg_set_quality(&codec, 95, TRUE);
    jpeg_start_compress(&codec, TRUE);
    std::vector<JSAMPLE> row(picture.cols);
    while (codec.next_scanline < codec.image_height) {
        const unsigned char* const in = picture.bgr.get() + picture.cols * 3 * codec.next_scanline;
        for (std::size_t j = 0; j < picture.cols; ++j) {
            row[j] = in[3 * j + channel];
        }
        JSAMPROW line = row.data();
        jpeg_write_scanlines(&codec, &line, 1);
    }
    jpeg_finish_compress(&codec);
    jpeg_destroy_compress(&codec);
}

void writeText(const char* path, std::size_t size) {
    const File file = opened(path, "wb");
    const std::string block(std::size_t{1} << 18U, '1');
    while (size > 0) {
        const std::size_t count = std::min(size, block.size());
        std::fwrite(block.data(), 1, count, file.get());
        size -= count;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3 && argc != 4) {
        std::cerr << "usage: jpeg_floor FIRST SECOND [BYTES_OF_TEXT]\n";
        return 2;
    }
    Picture second;
    std::thread other([&second, argv] { second = decoded(argv[2]); });
    const Picture first = decoded(argv[1]);
    other.join();
    if (argc == 4) {
        std::thread text([argv] { writeText("10_in.txt", std::strtoull(argv[3], nullptr, 10)); });
        encodeGrey(second, 0, "A_before.jpg");
        encodeGrey(second, 1, "mask.jpg");
        encodeGrey(second, 2, "t_before.jpg");
        text.join();
    }
    return 0;
}
