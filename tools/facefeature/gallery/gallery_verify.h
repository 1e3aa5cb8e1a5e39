// Checks that a gallery has the bytes that were written.
#ifndef FACEFEATURE_TOOLS_GALLERY_GALLERY_VERIFY_H
#define FACEFEATURE_TOOLS_GALLERY_GALLERY_VERIFY_H

#include <string>
#include <vector>

#include "gallery/gallery_file.h"

namespace facefeature_tools {

// Reads the whole gallery and compares every block with its digest. Returns one text for each
// error, with the affected rows; none if the gallery is undamaged. Version 1 has no digests: there
// only ids that occur twice are errors.
std::vector<std::string> galleryFaults(const Gallery& gallery);

}  // namespace facefeature_tools

#endif
