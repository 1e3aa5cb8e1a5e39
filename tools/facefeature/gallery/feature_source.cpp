#include "gallery/feature_source.h"

#include <filesystem>
#include <system_error>

#include "base/failure.h"
#include "gallery/feature_file.h"

namespace facefeature_tools {

FeatureSource::FeatureSource(const std::string& argument) : argument_(argument) {
  std::error_code ignored;
  if (looksLikeGallery(argument)) {
    gallery_ = std::make_unique<const Gallery>(argument);
    return;
  }
  if (!std::filesystem::exists(argument, ignored)) {
    for (size_t at = argument.find('#'); at != std::string::npos; at = argument.find('#', at + 1)) {
      if (std::filesystem::is_regular_file(argument.substr(0, at), ignored)) {
        openRow(argument.substr(0, at), argument.substr(at + 1));
        return;
      }
    }
  }
  single_ = readFeatureFile(argument);
}

void FeatureSource::openRow(const std::string& path, const std::string& id) {
  gallery_ = std::make_unique<const Gallery>(path);
  row_ = gallery_->find(id);
  if (row_) return;
  throw Failure(kBadInput, path, "has no feature with the id " + id,
                "\"facefeature gallery info --ids\" prints its ids");
}

std::string FeatureSource::id(size_t i) const {
  if (!gallery_) return argument_;
  return std::string(gallery_->id(row_ ? *row_ : i));
}

FeatureVector FeatureSource::feature(size_t i) const {
  if (!gallery_) return single_;
  return gallery_->feature(row_ ? *row_ : i);
}

}  // namespace facefeature_tools
