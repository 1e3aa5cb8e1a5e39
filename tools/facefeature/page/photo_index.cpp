#include "page/photo_index.h"

#include <filesystem>
#include <system_error>

#include "base/failure.h"
#include "batch/photo_list.h"
#include "page/html.h"
#include "photo/thumbnail.h"

namespace facefeature_tools {

PhotoIndex::PhotoIndex(const std::string& listOrFolder) {
  std::error_code ignored;
  if (std::filesystem::is_directory(listOrFolder, ignored)) {
    folder_ = listOrFolder;
    return;
  }
  for (const PhotoEntry& entry : readPhotoList(listOrFolder)) paths_.emplace(entry.id, entry.photo);
}

std::optional<std::string> PhotoIndex::pathOf(std::string_view id) const {
  if (folder_.empty()) {
    const auto found = paths_.find(std::string(id));
    if (found == paths_.end()) return std::nullopt;
    return found->second;
  }
  for (const char* ending : {"", ".jpg", ".jpeg", ".png", ".ppm", ".JPG", ".JPEG", ".PNG"}) {
    const std::string path = (std::filesystem::path(folder_) / (std::string(id) + ending)).string();
    std::error_code ignored;
    if (std::filesystem::is_regular_file(path, ignored)) return path;
  }
  return std::nullopt;
}

std::string PhotoIndex::thumbnailUri(std::string_view id, int32_t side) const {
  const std::optional<std::string> path = pathOf(id);
  return path ? thumbnailUriOfFile(*path, side) : "";
}

std::string PhotoIndex::thumbnailUriOfFile(const std::string& path, int32_t side) const {
  try {
    return dataUri("image/jpeg", thumbnailOf(path, side));
  } catch (const Failure&) {
    ++unreadable_;
    return "";
  }
}

}  // namespace facefeature_tools
