// Both oracles of the path from a photograph and landmarks to the 25 patch matrices.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_GEOMETRY_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_GEOMETRY_H

#include "support/reference_head_pose.h"
#include "support/reference_patches.h"

#endif
