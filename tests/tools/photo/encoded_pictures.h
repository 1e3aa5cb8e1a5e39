// Pictures in memory, encoded with the libraries that the program uses for decoding.
#ifndef FACEFEATURE_TESTS_TOOLS_PHOTO_ENCODED_PICTURES_H
#define FACEFEATURE_TESTS_TOOLS_PHOTO_ENCODED_PICTURES_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>
// jpeglib.h uses FILE and size_t without including their declarations.
#include <jpeglib.h>
#include <spng.h>

#include "support/random.h"

namespace facefeature_test {

using Bytes = std::vector<uint8_t>;

struct JpegEncoding {
  int components = 3;
  J_COLOR_SPACE space = JCS_RGB;
  bool progressive = false;
  int quality = 90;
};

inline Bytes encodeJpeg(uint32_t width, uint32_t height, const Bytes& samples,
                        const JpegEncoding& encoding = {}) {
  jpeg_compress_struct encoder;
  jpeg_error_mgr errors;
  encoder.err = jpeg_std_error(&errors);
  jpeg_create_compress(&encoder);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&encoder, &buffer, &size);
  encoder.image_width = width;
  encoder.image_height = height;
  encoder.input_components = encoding.components;
  encoder.in_color_space = encoding.space;
  jpeg_set_defaults(&encoder);
  jpeg_set_quality(&encoder, encoding.quality, TRUE);
  if (encoding.progressive) jpeg_simple_progression(&encoder);
  jpeg_start_compress(&encoder, TRUE);
  while (encoder.next_scanline < height) {
    JSAMPROW row = const_cast<JSAMPROW>(
        &samples[encoder.next_scanline * width * static_cast<uint32_t>(encoding.components)]);
    jpeg_write_scanlines(&encoder, &row, 1);
  }
  jpeg_finish_compress(&encoder);
  jpeg_destroy_compress(&encoder);
  Bytes bytes(buffer, buffer + size);
  std::free(buffer);
  return bytes;
}

// The samples of a valid JPEG in the given colour space.
inline Bytes decodedSamples(const Bytes& jpeg, J_COLOR_SPACE space) {
  jpeg_decompress_struct decoder;
  jpeg_error_mgr errors;
  decoder.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&decoder);
  jpeg_mem_src(&decoder, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
  jpeg_read_header(&decoder, TRUE);
  decoder.out_color_space = space;
  jpeg_start_decompress(&decoder);
  const size_t rowBytes =
      static_cast<size_t>(decoder.output_width) * static_cast<size_t>(decoder.output_components);
  Bytes samples(rowBytes * decoder.output_height);
  while (decoder.output_scanline < decoder.output_height) {
    JSAMPROW row = &samples[rowBytes * decoder.output_scanline];
    jpeg_read_scanlines(&decoder, &row, 1);
  }
  jpeg_finish_decompress(&decoder);
  jpeg_destroy_decompress(&decoder);
  return samples;
}

// samples as stored by PNG: packed rows, 16 bits in the byte order of this machine. palette has
// red, green, blue and alpha for each entry.
inline Bytes encodePng(uint32_t width, uint32_t height, uint8_t bitDepth, uint8_t colorType,
                       const Bytes& samples, const Bytes& palette = {}, bool interlaced = false) {
  spng_ctx* context = spng_ctx_new(SPNG_CTX_ENCODER);
  spng_set_option(context, SPNG_ENCODE_TO_BUFFER, 1);
  spng_ihdr header = {};
  header.width = width;
  header.height = height;
  header.bit_depth = bitDepth;
  header.color_type = colorType;
  header.interlace_method = interlaced ? 1 : 0;
  int result = spng_set_ihdr(context, &header);
  if (result == 0 && !palette.empty()) {
    spng_plte plte = {};
    spng_trns trns = {};
    plte.n_entries = static_cast<uint32_t>(palette.size() / 4);
    trns.n_type3_entries = plte.n_entries;
    for (uint32_t i = 0; i < plte.n_entries; ++i) {
      plte.entries[i] = {palette[4 * i], palette[4 * i + 1], palette[4 * i + 2], 255};
      trns.type3_alpha[i] = palette[4 * i + 3];
    }
    result = spng_set_plte(context, &plte);
    if (result == 0) result = spng_set_trns(context, &trns);
  }
  if (result == 0) {
    result = spng_encode_image(context, samples.data(), samples.size(), SPNG_FMT_PNG,
                               SPNG_ENCODE_FINALIZE);
  }
  size_t size = 0;
  void* buffer = result == 0 ? spng_get_png_buffer(context, &size, &result) : nullptr;
  spng_ctx_free(context);
  if (buffer == nullptr) throw std::runtime_error(spng_strerror(result));
  Bytes bytes(static_cast<uint8_t*>(buffer), static_cast<uint8_t*>(buffer) + size);
  std::free(buffer);
  return bytes;
}

inline Bytes encodePpm(uint32_t width, uint32_t height, const Bytes& samples) {
  const std::string header =
      "P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
  Bytes bytes(header.begin(), header.end());
  bytes.insert(bytes.end(), samples.begin(), samples.end());
  return bytes;
}

inline Bytes bytesOfText(const std::string& text) { return Bytes(text.begin(), text.end()); }

// The same samples with the first and third of every three swapped.
inline Bytes swapped(Bytes samples) {
  for (size_t i = 0; i + 2 < samples.size(); i += 3) std::swap(samples[i], samples[i + 2]);
  return samples;
}

}  // namespace facefeature_test

#endif
