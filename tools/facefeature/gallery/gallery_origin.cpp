#include "gallery/gallery_origin.h"

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

}  // namespace

GalleryOrigin ownOrigin(const Digest& model) {
  // The same on every processor: sums of products are chains of fused multiply-adds.
  return {model, FACEFEATURE_VERSION, "fma-chain"};
}

GalleryOrigin joinedOrigin(const GalleryOrigin& a, const GalleryOrigin& b) {
  return {a.model, joined(a.libraryVersion, b.libraryVersion), joined(a.blasCore, b.blasCore)};
}

}  // namespace facefeature_tools
