// The root of a gallery of version 2, which describes its current state.
#ifndef FACEFEATURE_TOOLS_GALLERY_GALLERY_ROOT_H
#define FACEFEATURE_TOOLS_GALLERY_GALLERY_ROOT_H

#include <array>
#include <cstdint>
#include <optional>

#include "gallery/gallery_layout.h"
#include "gallery/gallery_origin.h"

namespace facefeature_tools {

struct GalleryRoot {
  uint64_t sequence = 1;  // incremented by each change
  uint64_t bytes = 0;     // length of the gallery; anything after that is not part of it
  uint64_t rows = 0;      // without removed ones
  uint64_t segments = 0;
  uint64_t lastTrailer = 0;  // offset of the trailer of the last segment; 0 without segments
  GalleryOrigin origin;
};

using GalleryRecord = std::array<uint8_t, kRecordBytes>;

// The bytes at the start of the header's page.
GalleryRecord headerRecord(const Digest& model);

// The bytes at the start of a root's page. The digest covers the header as well.
GalleryRecord rootRecord(const GalleryRecord& header, const GalleryRoot& root);

// The root in the page of a copy, 0 or 1, or nothing if that copy is damaged or half-written.
// file has at least kFirstSegmentAt bytes.
std::optional<GalleryRoot> readRoot(const uint8_t* file, size_t copy);

// The newest valid root.
std::optional<GalleryRoot> newestRoot(const uint8_t* file);

// A text field of kOriginFieldBytes bytes, padded with NULs.
void putOriginText(const std::string& text, uint8_t* field);
std::string originText(const uint8_t* field);

}  // namespace facefeature_tools

#endif
