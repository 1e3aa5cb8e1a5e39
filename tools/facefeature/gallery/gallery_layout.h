// Where things stand in a gallery, for its reader and its writer.
#ifndef FACEFEATURE_TOOLS_GALLERY_GALLERY_LAYOUT_H
#define FACEFEATURE_TOOLS_GALLERY_GALLERY_LAYOUT_H

#include <facefeature/facefeature.h>

#include <cstddef>
#include <cstdint>

namespace facefeature_tools {

constexpr char kGalleryMagic[] = {'F', 'F', 'G', 'A', 'L', 'L', 'R', 'Y'};
constexpr uint32_t kGalleryVersion = 1;
constexpr size_t kGalleryHeaderBytes = 256;
constexpr size_t kFeatureBytes = sizeof(FeatureVector);

// Places of the header's fields.
constexpr size_t kVersionAt = 8;
constexpr size_t kHeaderBytesAt = 12;
constexpr size_t kCountAt = 16;
constexpr size_t kFeatureFloatsAt = 24;
constexpr size_t kModelAt = 32;
constexpr size_t kLibraryVersionAt = 64;
constexpr size_t kBlasCoreAt = 128;
constexpr size_t kOriginFieldBytes = 64;
constexpr size_t kIdsOffsetAt = 192;
constexpr size_t kIdsBytesAt = 200;
constexpr size_t kFeaturesOffsetAt = 208;

// Features start where a cache line does, in the file and so in memory.
constexpr size_t kFeatureAlignment = 64;

}  // namespace facefeature_tools

#endif
