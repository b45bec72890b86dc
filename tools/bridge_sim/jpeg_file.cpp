#include "bridge_sim/jpeg_file.h"

#include <cassert>
#include <cstdio>  // jpeglib.h expects FILE to be known
#include <cstdlib>

#include <jpeglib.h>

namespace bridge_sim {

namespace {

// The size is fixed and the file goes to memory, so libjpeg can only fail for want of memory. Its
// own error exit then says so and ends the program; nothing may be thrown through its frames.
struct compressor {
    compressor() {
        info.err = jpeg_std_error(&errors);
        jpeg_create_compress(&info);
        jpeg_mem_dest(&info, &data, &size);
    }
    ~compressor() {
        jpeg_destroy_compress(&info);
        std::free(data);
    }
    compressor(const compressor&) = delete;
    compressor& operator=(const compressor&) = delete;

    jpeg_error_mgr errors{};
    jpeg_compress_struct info{};
    unsigned char* data = nullptr;  // allocated by libjpeg, freed here
    unsigned long size = 0;
};

}  // namespace

bytes encode_jpeg(std::span<const uint8_t> pixels, int width, int height) {
    constexpr int quality = 82;
    assert(pixels.size() == size_t(width) * size_t(height) * 3);
    compressor jpeg;
    jpeg.info.image_width = JDIMENSION(width);
    jpeg.info.image_height = JDIMENSION(height);
    jpeg.info.input_components = 3;
    jpeg.info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&jpeg.info);
    jpeg_set_quality(&jpeg.info, quality, TRUE);
    jpeg_start_compress(&jpeg.info, TRUE);
    while (jpeg.info.next_scanline < jpeg.info.image_height) {
        // libjpeg takes the row by a pointer to non-const and only reads it.
        auto* row =
            const_cast<uint8_t*>(&pixels[size_t(jpeg.info.next_scanline) * size_t(width) * 3]);
        jpeg_write_scanlines(&jpeg.info, &row, 1);
    }
    jpeg_finish_compress(&jpeg.info);
    return bytes(jpeg.data, jpeg.data + jpeg.size);
}

}  // namespace bridge_sim
