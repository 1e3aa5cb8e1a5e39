// The origin of a gallery's features.
#ifndef FACEFEATURE_TOOLS_GALLERY_GALLERY_ORIGIN_H
#define FACEFEATURE_TOOLS_GALLERY_GALLERY_ORIGIN_H

#include <cstddef>
#include <string>

#include "base/sha256.h"

namespace facefeature_tools {

struct GalleryOrigin {
  Digest model = {};           // modelFingerprint() of its folder
  std::string libraryVersion;  // at most kOriginTextBytes bytes each
  // The order of the sums of products, "fma-chain". Galleries of version 1.0.0 have OpenBLAS's name
  // for their processor here, because OpenBLAS chose the order then.
  std::string blasCore;
};

constexpr size_t kOriginTextBytes = 63;

// The origin of features that this program computes with a model of this fingerprint.
GalleryOrigin ownOrigin(const Digest& model);

// The origin of features of one model with two origins: a text that differs names both, joined by a
// plus sign, or is "several" if that is too long.
GalleryOrigin joinedOrigin(const GalleryOrigin& a, const GalleryOrigin& b);

}  // namespace facefeature_tools

#endif
