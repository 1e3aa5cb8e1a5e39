/* The 25 patches of a face, as the library cuts them, for callers of any language.
 *
 * All functions may run on any thread; they have no state. Nothing is validated, except as
 * documented. */
#ifndef FACEFEATURE_TOOLS_PATCH_ACCESS_H
#define FACEFEATURE_TOOLS_PATCH_ACCESS_H

#include <stdint.h>

#include "facefeature/facefeature.h"

#ifdef __cplusplus
extern "C" {
#endif

#define FACEFEATURE_PATCH_ACCESS __attribute__((visibility("default")))

/* Number of floats that FacefeaturePatches writes. */
FACEFEATURE_PATCH_ACCESS int32_t FacefeaturePatchFloats(void);

/* Writes the patches before their mean is subtracted: gray levels from 0 to 255, and 0 in the
 * margins. Patch after patch; of each patch the direct sample, then the mirrored one; of each
 * sample plane after plane (red, green, blue; or the one gray plane), in each plane row after row.
 *
 * pixels     blue, green, red; read only; rows stride bytes apart
 * landmarks  read only; 25 of its entries have ids other than 240, 241, 315 and 316
 * patches    room for FacefeaturePatchFloats() floats
 *
 * Returns 1. Returns 0, and writes nothing, if width or height is below 2, if an id is outside 0 to
 * 317, if another number of entries is kept, or if memory is exhausted. */
FACEFEATURE_PATCH_ACCESS int32_t FacefeaturePatches(const uint8_t* pixels, int32_t width,
                                                    int32_t height, int32_t stride,
                                                    const LandmarkSet* landmarks, float* patches);

/* The reference length in pixels: the distance between the eyes of the rigid head that fits the
 * landmarks. NaN if an id is outside 0 to 317 or memory is exhausted. */
FACEFEATURE_PATCH_ACCESS float FacefeatureReferenceLength(const LandmarkSet* landmarks);

#ifdef __cplusplus
}
#endif

#endif
