// Reads Exif data with libexif.
#include <libexif/exif-data.h>

#include <limits>
#include <memory>

#include "photo/photo_orientation.h"

namespace facefeature_tools {
namespace {

struct DataFreer {
  void operator()(ExifData* data) const { exif_data_unref(data); }
};

}  // namespace

bool exifIsRead() { return true; }

int32_t exifOrientation(const std::vector<uint8_t>& file) {
  const bool isJpeg = file.size() > 2 && file[0] == 0xFF && file[1] == 0xD8;
  if (!isJpeg || file.size() > std::numeric_limits<unsigned>::max()) return kAsStored;
  const std::unique_ptr<ExifData, DataFreer> data(
      exif_data_new_from_data(file.data(), static_cast<unsigned>(file.size())));
  if (!data) return kAsStored;
  // The second directory, if there is one, belongs to the thumbnail.
  const ExifEntry* entry = exif_content_get_entry(data->ifd[EXIF_IFD_0], EXIF_TAG_ORIENTATION);
  if (entry == nullptr || entry->format != EXIF_FORMAT_SHORT || entry->size < 2) return kAsStored;
  const int32_t value = exif_get_short(entry->data, exif_data_get_byte_order(data.get()));
  return value >= 1 && value <= 8 ? value : kAsStored;
}

}  // namespace facefeature_tools
