// Decodes JPEG with libjpeg-turbo.
//
// libjpeg reports errors through callbacks that must not return; its default ones end the process.
// These jump back to the setjmp of JpegReader, so no function that is jumped over, and none that
// calls setjmp, may hold an object with a destructor.
#include <csetjmp>
#include <cstdio>
// jpeglib.h uses FILE and size_t without including what declares them.
#include <jpeglib.h>

#include "photo/photo.h"

namespace facefeature_tools {
namespace {

struct JpegErrors {
  jpeg_error_mgr manager;  // first, so that a pointer to it is a pointer to this
  std::jmp_buf back;
  char message[JMSG_LENGTH_MAX];
};

[[noreturn]] void stopDecoding(j_common_ptr decoder) {
  JpegErrors* errors = reinterpret_cast<JpegErrors*>(decoder->err);
  errors->manager.format_message(decoder, errors->message);
  std::longjmp(errors->back, 1);
}

// Levels below 0 are warnings: data that are damaged or truncated, for which libjpeg invents pixels
// and continues. Such a picture is rejected. Levels from 0 on are traces.
void stopAtWarnings(j_common_ptr decoder, int level) {
  if (level < 0) stopDecoding(decoder);
}

// A small file can make the decoder refine the whole picture again and again. Real files have about
// a dozen scans.
void limitScans(j_common_ptr decoder) {
  constexpr int kMaxScans = 200;
  j_decompress_ptr decompressor = reinterpret_cast<j_decompress_ptr>(decoder);
  if (decompressor->input_scan_number <= kMaxScans) return;
  JpegErrors* errors = reinterpret_cast<JpegErrors*>(decoder->err);
  std::snprintf(errors->message, sizeof errors->message, "more than %d scans", kMaxScans);
  std::longjmp(errors->back, 1);
}

class JpegReader {
 public:
  explicit JpegReader(const std::vector<uint8_t>& bytes) : bytes_(bytes) {
    decoder_.err = jpeg_std_error(&errors_.manager);
    errors_.manager.error_exit = stopDecoding;
    errors_.manager.emit_message = stopAtWarnings;
    errors_.message[0] = '\0';
    progress_.progress_monitor = limitScans;
  }
  // Also correct for a decoder that was never created: it is all zero then.
  ~JpegReader() { jpeg_destroy(reinterpret_cast<j_common_ptr>(&decoder_)); }
  JpegReader(const JpegReader&) = delete;
  JpegReader& operator=(const JpegReader&) = delete;

  bool readHeader() {
    if (setjmp(errors_.back) != 0) return false;
    jpeg_create_decompress(&decoder_);
    decoder_.progress = &progress_;
    // Files are read up to a limit that fits a long on every system.
    jpeg_mem_src(&decoder_, bytes_.data(), static_cast<unsigned long>(bytes_.size()));
    jpeg_read_header(&decoder_, TRUE);
    return true;
  }

  // Fills photo, which has the size given in the header.
  bool readPixels(Photo& photo) {
    if (setjmp(errors_.back) != 0) return false;
    decoder_.out_color_space = JCS_EXT_BGR;
    jpeg_start_decompress(&decoder_);
    while (decoder_.output_scanline < decoder_.output_height) {
      JSAMPROW row = photo.pixels.data() + static_cast<size_t>(decoder_.output_scanline) *
                                               static_cast<size_t>(photo.stride());
      jpeg_read_scanlines(&decoder_, &row, 1);
    }
    // Reads on to the end marker, so that a file without one is detected.
    jpeg_finish_decompress(&decoder_);
    return true;
  }

  const jpeg_decompress_struct& decoder() const { return decoder_; }

  PhotoError error() const {
    return PhotoError(std::string("is damaged or cut short (JPEG: ") + errors_.message + ")");
  }

 private:
  const std::vector<uint8_t>& bytes_;
  JpegErrors errors_ = {};
  jpeg_progress_mgr progress_ = {};
  jpeg_decompress_struct decoder_ = {};
};

}  // namespace

Photo decodeJpeg(const std::vector<uint8_t>& bytes) {
  JpegReader reader(bytes);
  if (!reader.readHeader()) throw reader.error();
  // Inks become colours only through a profile of the press, and a guess would give another
  // picture.
  const J_COLOR_SPACE space = reader.decoder().jpeg_color_space;
  if (space == JCS_CMYK || space == JCS_YCCK) {
    throw PhotoError("is a JPEG in print colours (CMYK), which are not supported; save it as RGB");
  }
  Photo photo = makePhoto(reader.decoder().image_width, reader.decoder().image_height);
  if (!reader.readPixels(photo)) throw reader.error();
  return photo;
}

}  // namespace facefeature_tools
