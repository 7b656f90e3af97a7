// JPEG files straight to B, G, R by libjpeg-turbo, without the image library: what no reader of photographs can save.
#pragma once

#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#include <cstddef>
#include <iostream>
#include <memory>

namespace likeness::bench {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

inline File opened(const char* path, const char* mode) {
    File file(std::fopen(path, mode));
    if (file == nullptr) {
        std::cerr << "cannot open " << path << '\n';
        std::exit(1);
    }
    return file;
}

struct Picture {
    std::size_t cols = 0;
    std::size_t rows = 0;
    std::unique_ptr<unsigned char[]> bgr;
};

inline Picture decoded(const char* path) {
    const File file = opened(path, "rb");
    jpeg_error_mgr errors{};
    jpeg_decompress_struct codec{};
    codec.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&codec);
    jpeg_stdio_src(&codec, file.get());
    jpeg_read_header(&codec, TRUE);
    codec.out_color_space = JCS_EXT_BGR;
    jpeg_start_decompress(&codec);
    Picture picture{codec.output_width, codec.output_height, {}};
    picture.bgr.reset(new unsigned char[picture.cols * picture.rows * 3]);
    while (codec.output_scanline < codec.output_height) {
        JSAMPROW line = picture.bgr.get() + picture.cols * 3 * codec.output_scanline;
        jpeg_read_scanlines(&codec, &line, 1);
    }
    jpeg_finish_decompress(&codec);
    jpeg_destroy_decompress(&codec);
    return picture;
}

}  // namespace likeness::bench
