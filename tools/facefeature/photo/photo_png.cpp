// Decodes PNG with libspng.
#include <spng.h>

#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "photo/photo.h"

namespace facefeature_tools {
namespace {

struct ContextFreer {
  void operator()(spng_ctx* context) const { spng_ctx_free(context); }
};

void require(int result) {
  if (result == 0) return;
  throw PhotoError(std::string("is damaged or cut short (PNG: ") + spng_strerror(result) + ")");
}

// libspng accepts a file that ends within the checksum of its last chunk. Walking over the chunks
// detects every truncation, whatever the decoder can do without.
void requireWholeChunks(const std::vector<uint8_t>& bytes) {
  constexpr size_t kSignature = 8;
  constexpr size_t kAroundData = 12;  // length and type before a chunk's data, checksum after
  for (size_t at = kSignature; at + kAroundData <= bytes.size();) {
    const size_t length = size_t{bytes[at]} << 24 | size_t{bytes[at + 1]} << 16 |
                          size_t{bytes[at + 2]} << 8 | size_t{bytes[at + 3]};
    const size_t left = bytes.size() - at - kAroundData;
    if (length > left) break;
    if (std::memcmp(&bytes[at + 4], "IEND", 4) == 0) return;
    at += kAroundData + length;
  }
  throw PhotoError("is damaged or cut short (PNG: the end of the file is missing)");
}

}  // namespace

Photo decodePng(const std::vector<uint8_t>& bytes) {
  const std::unique_ptr<spng_ctx, ContextFreer> context(spng_ctx_new(0));
  if (!context) throw std::bad_alloc();
  // Ancillary chunks (profiles, texts) are unpacked into memory, up to a limit.
  constexpr size_t kMaxChunkBytes = size_t{1} << 26;
  require(spng_set_chunk_limits(context.get(), kMaxChunkBytes, kMaxChunkBytes));
  require(spng_set_png_buffer(context.get(), bytes.data(), bytes.size()));
  spng_ihdr header;
  require(spng_get_ihdr(context.get(), &header));
  Photo photo = makePhoto(header.width, header.height);
  requireWholeChunks(bytes);

  // Gray, palette and 16 bits all become 8 bits a channel. Colours are used unchanged, also in
  // transparent areas: the background of the picture is unknown.
  size_t size = 0;
  require(spng_decoded_image_size(context.get(), SPNG_FMT_RGB8, &size));
  if (size != photo.pixels.size()) throw PhotoError("is a PNG of an unknown layout");
  require(spng_decode_image(context.get(), photo.pixels.data(), size, SPNG_FMT_RGB8, 0));
  // The data after the pixels, to detect damage there too.
  require(spng_decode_chunks(context.get()));

  for (size_t i = 0; i < photo.pixels.size(); i += 3) {
    std::swap(photo.pixels[i], photo.pixels[i + 2]);
  }
  return photo;
}

}  // namespace facefeature_tools
