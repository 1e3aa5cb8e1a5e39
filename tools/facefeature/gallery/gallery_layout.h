// The layout of a gallery file, for its readers and its writers. docs/galleries.md describes both
// versions byte by byte.
//
// Version 1 has a header, the ids and the features. Version 2 has a header, two copies of a root,
// and segments. A segment adds rows or removes rows and ends in a trailer. Each trailer has the
// offset of the previous one, and a root has that of the last one. Data to which a root refers
// never change in place.
#ifndef FACEFEATURE_TOOLS_GALLERY_GALLERY_LAYOUT_H
#define FACEFEATURE_TOOLS_GALLERY_GALLERY_LAYOUT_H

#include <facefeature/facefeature.h>

#include <cstddef>
#include <cstdint>

namespace facefeature_tools {

constexpr char kGalleryMagic[] = {'F', 'F', 'G', 'A', 'L', 'L', 'R', 'Y'};
constexpr char kSegmentMagic[] = {'F', 'F', 'S', 'E', 'G', 'M', 'N', 'T'};
constexpr uint32_t kGalleryVersion = 2;
constexpr uint32_t kOldGalleryVersion = 1;
constexpr size_t kFeatureBytes = sizeof(FeatureVector);

// Features start at a multiple of a cache line in the file, and therefore also in memory.
constexpr size_t kFeatureAlignment = 64;

// Offsets of the fields that both versions have in their headers.
constexpr size_t kVersionAt = 8;
constexpr size_t kHeaderBytesAt = 12;
constexpr size_t kFeatureFloatsAt = 24;
constexpr size_t kModelAt = 32;
constexpr size_t kOriginFieldBytes = 64;

// Version 1 only.
constexpr size_t kOldHeaderBytes = 256;
constexpr size_t kCountAt = 16;
constexpr size_t kLibraryVersionAt = 64;
constexpr size_t kBlasCoreAt = 128;
constexpr size_t kIdsOffsetAt = 192;
constexpr size_t kIdsBytesAt = 200;
constexpr size_t kFeaturesOffsetAt = 208;

// Version 2. The header and each root have a page of their own, so that a write to one can't damage
// another.
constexpr size_t kGalleryPage = 4096;
constexpr size_t kRecordBytes = 256;  // header, root and trailer; the rest of a page is zero
constexpr size_t kDigestAt = 224;     // of a root and of a trailer: SHA-256
constexpr size_t kRoots = 2;
constexpr size_t kFirstSegmentAt = kGalleryPage * (1 + kRoots);
constexpr size_t kDigestBytes = 32;
constexpr size_t kDigestBlock = 65536;  // bytes of a segment that one digest covers

// Offsets within a root.
constexpr size_t kRootSequenceAt = 0;
constexpr size_t kRootBytesAt = 8;
constexpr size_t kRootRowsAt = 16;
constexpr size_t kRootSegmentsAt = 24;
constexpr size_t kRootTrailerAt = 32;
constexpr size_t kRootLibraryVersionAt = 64;
constexpr size_t kRootBlasCoreAt = 128;

// Offsets within a trailer.
constexpr size_t kTrailerKindAt = 8;
constexpr size_t kTrailerBytesAt = 12;
constexpr size_t kTrailerStartAt = 16;
constexpr size_t kTrailerCountAt = 24;
constexpr size_t kTrailerIdsAt = 32;
constexpr size_t kTrailerIdsBytesAt = 40;
constexpr size_t kTrailerFeaturesAt = 48;
constexpr size_t kTrailerDigestsAt = 56;
constexpr size_t kTrailerPreviousAt = 64;

// The number of a root's page: 1 or 2.
constexpr size_t rootAt(size_t copy) { return kGalleryPage * (1 + copy); }

}  // namespace facefeature_tools

#endif
