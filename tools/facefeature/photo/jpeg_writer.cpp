// JPEG files with libjpeg-turbo. As in photo_jpeg.cpp, no function that a longjmp skips and none
// that calls setjmp may have an object with a destructor.
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <new>
// jpeglib.h uses FILE and size_t without including what declares them.
#include <jpeglib.h>

#include "photo/thumbnail.h"

namespace facefeature_tools {
namespace {

struct JpegErrors {
  jpeg_error_mgr manager;  // first, so that a pointer to it is a pointer to this
  std::jmp_buf back;
};

[[noreturn]] void stopEncoding(j_common_ptr encoder) {
  std::longjmp(reinterpret_cast<JpegErrors*>(encoder->err)->back, 1);
}

class JpegWriter {
 public:
  JpegWriter() {
    encoder_.err = jpeg_std_error(&errors_.manager);
    errors_.manager.error_exit = stopEncoding;
  }
  ~JpegWriter() {
    jpeg_destroy(reinterpret_cast<j_common_ptr>(&encoder_));
    std::free(bytes_);
  }
  JpegWriter(const JpegWriter&) = delete;
  JpegWriter& operator=(const JpegWriter&) = delete;

  // Returns false if memory runs out, which is the only possible error.
  bool write(const Photo& photo, int quality) {
    if (setjmp(errors_.back) != 0) return false;
    jpeg_create_compress(&encoder_);
    jpeg_mem_dest(&encoder_, &bytes_, &count_);
    encoder_.image_width = static_cast<JDIMENSION>(photo.width);
    encoder_.image_height = static_cast<JDIMENSION>(photo.height);
    encoder_.input_components = 3;
    encoder_.in_color_space = JCS_EXT_BGR;
    jpeg_set_defaults(&encoder_);
    jpeg_set_quality(&encoder_, quality, TRUE);
    jpeg_start_compress(&encoder_, TRUE);
    while (encoder_.next_scanline < encoder_.image_height) {
      JSAMPROW row =
          const_cast<JSAMPROW>(photo.pixels.data()) +
          static_cast<size_t>(encoder_.next_scanline) * static_cast<size_t>(photo.stride());
      jpeg_write_scanlines(&encoder_, &row, 1);
    }
    jpeg_finish_compress(&encoder_);
    return true;
  }

  std::vector<uint8_t> bytes() const { return std::vector<uint8_t>(bytes_, bytes_ + count_); }

 private:
  JpegErrors errors_ = {};
  jpeg_compress_struct encoder_ = {};
  unsigned char* bytes_ = nullptr;
  unsigned long count_ = 0;
};

}  // namespace

std::vector<uint8_t> encodeJpeg(const Photo& photo, int quality) {
  constexpr int32_t kMaxSide = 65500;
  if (photo.width > kMaxSide || photo.height > kMaxSide) {
    throw PhotoError("is too wide or too high for a JPEG file");
  }
  JpegWriter writer;
  if (!writer.write(photo, quality)) throw std::bad_alloc();
  return writer.bytes();
}

}  // namespace facefeature_tools
