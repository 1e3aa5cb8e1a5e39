// The mean images that are subtracted from samples.
#ifndef FACEFEATURE_GEOMETRY_PATCH_MEANS_H
#define FACEFEATURE_GEOMETRY_PATCH_MEANS_H

#include "geometry/patch_table.h"

namespace facefeature {

// The mean of the samples of one patch, in the order of a sample's floats. A patch uses the first
// sampleLength(patch) floats of it.
using PatchMean = float[kLargestSample];

}  // namespace facefeature

#endif
