// Changes of galleries. A process that is killed at any point leaves the gallery as it was before
// the change or as it is after it.
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
  // The feature of ids[i]. Called once for each, in order. May throw: nothing is changed then.
  std::function<FeatureVector(size_t i)> feature;
  GalleryOrigin origin;  // of the gallery's model
};

// Removes rows of a gallery and then adds others, in one change: no reader ever sees half of it.
// Readers that have the gallery open keep the state that they have opened.
//
// Version 2 is extended in place, by as many bytes as are new. Version 1 is rewritten as version 2.
//
// REQUIRES: the caller holds FileLock(gallery.path()) since before it has opened the gallery; the
// rows are different; ids that are added are not among the rows that stay.
// Throws Failure (kFailed), and what feature() throws.
void changeGallery(const Gallery& gallery, const std::vector<size_t>& removed,
                   const NewRows& added);

// The same, as a new file of one segment without the bytes of rows that were ever removed. The file
// takes the place of the old one when it is complete.
void rewriteGallery(const Gallery& gallery, const std::vector<size_t>& removed,
                    const NewRows& added);

}  // namespace facefeature_tools

#endif
