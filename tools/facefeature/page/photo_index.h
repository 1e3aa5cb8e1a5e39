// Finds the photograph of an id, for pages that show faces.
#ifndef FACEFEATURE_TOOLS_PAGE_PHOTO_INDEX_H
#define FACEFEATURE_TOOLS_PAGE_PHOTO_INDEX_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace facefeature_tools {

class PhotoIndex {
 public:
  // An index without photographs.
  PhotoIndex() = default;

  // A list as for "extract --list", or a folder with a file per id: its name is the id, or the id
  // and .jpg, .jpeg, .png or .ppm. Throws Failure (kBadInput) for an invalid list.
  explicit PhotoIndex(const std::string& listOrFolder);

  // The photograph of an id. The file may still be missing or unreadable.
  std::optional<std::string> pathOf(std::string_view id) const;

  // A data: URI with a JPEG file of at most side x side pixels, or nothing if there is no
  // photograph or it can't be read. Failures are only counted, because a page is useful without
  // some of its pictures.
  std::string thumbnailUri(std::string_view id, int32_t side) const;
  // The same for a photograph by its path.
  std::string thumbnailUriOfFile(const std::string& path, int32_t side) const;
  size_t unreadable() const { return unreadable_; }

 private:
  std::string folder_;  // empty for a list
  std::unordered_map<std::string, std::string> paths_;
  mutable size_t unreadable_ = 0;
};

}  // namespace facefeature_tools

#endif
