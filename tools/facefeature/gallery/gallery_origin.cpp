#include "gallery/gallery_origin.h"

#include <cblas.h>
#if __has_include(<cblas_cores.h>)
#include <cblas_cores.h>
#endif

#include <set>
#include <sstream>

namespace facefeature_tools {
namespace {

std::string joined(const std::string& a, const std::string& b) {
  if (a == b) return a;
  std::set<std::string> parts;
  for (const std::string& text : {a, b}) {
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, '+');) parts.insert(part);
  }
  std::string all;
  for (const std::string& part : parts) all += (all.empty() ? "" : "+") + part;
  return all.size() <= kOriginTextBytes ? all : "several";
}

const char* blasCore() {
#if __has_include(<cblas_cores.h>)
  // The package of the cross build for Windows, where the question has another name.
  return cblasCoreInUse();
#else
  return openblas_get_corename();
#endif
}

}  // namespace

GalleryOrigin ownOrigin(const Digest& model) {
  // The library hides its OpenBLAS. This is another copy of the same, on the same processor and in
  // the same environment, and so it has chosen the same.
  return {model, FACEFEATURE_VERSION, blasCore()};
}

GalleryOrigin joinedOrigin(const GalleryOrigin& a, const GalleryOrigin& b) {
  return {a.model, joined(a.libraryVersion, b.libraryVersion), joined(a.blasCore, b.blasCore)};
}

}  // namespace facefeature_tools
