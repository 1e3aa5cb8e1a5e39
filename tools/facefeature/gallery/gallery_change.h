// Changes of galleries. If a process is killed at any point, the gallery is as before the change or
// as after it.
#ifndef FACEFEATURE_TOOLS_GALLERY_GALLERY_CHANGE_H
#define FACEFEATURE_TOOLS_GALLERY_GALLERY_CHANGE_H

#include <facefeature/facefeature.h>

#include <functional>
#include <string>
#include <vector>

#include "gallery/gallery_file.h"
#include "gallery/gallery_origin.h"

namespace facefeature_tools {

// Rows for the end of a gallery.
struct NewRows {
  std::vector<std::string> ids;  // valid by identifierFault(), all different
  // The feature of ids[i]. Called once for each, in order. If it throws, nothing changes.
  std::function<FeatureVector(size_t i)> feature;
  GalleryOrigin origin;  // of the gallery's model
};

// Removes rows of a gallery and then adds others, in one change: no reader ever sees a part of it.
// Readers that have the gallery open keep the state that they have opened. The gallery is closed
// when the change is complete.
//
// Version 2 is extended in place, by the new bytes only. Version 1 is rewritten as version 2.
//
// REQUIRES: the caller acquired FileLock(gallery.path()) before it opened the gallery; all rows
// differ; the added ids are not among the remaining rows. Throws Failure (kFailed), and what
// feature() throws.
void changeGallery(Gallery gallery, const std::vector<size_t>& removed, const NewRows& added);

// The same, but writes a new file of one segment without the bytes of removed rows. The new file
// replaces the old one when it is complete. Windows does not replace a file that is mapped: if
// anyone else, or feature(), has the gallery open, this throws there and the gallery is unchanged.
void rewriteGallery(Gallery gallery, const std::vector<size_t>& removed, const NewRows& added);

}  // namespace facefeature_tools

#endif
