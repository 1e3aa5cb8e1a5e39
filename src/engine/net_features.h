// Runs the 25 nets in parallel.
#ifndef FACEFEATURE_ENGINE_NET_FEATURES_H
#define FACEFEATURE_ENGINE_NET_FEATURES_H

#include <cstdint>
#include <vector>

#include "kernels/matrix.h"
#include "net/conv_net.h"

namespace facefeature {

// Runs the nets on the 25 patch matrices in a parallel loop, scales each net's two output rows to
// unit length, and writes them to patchFeatures (8000 floats): net 0's row of the patch, net 0's
// row of the mirrored patch, net 1's, and so on, 160 floats a row. An exception in a net ends the
// process.
void runNets(ConvNet* const* nets, std::vector<Matrix*>& patchMatrices, float* patchFeatures);

// The same for several faces at once: matrix p has the two rows of patch p of the first face, then
// those of the second, and so on. Face n's outputs are written to patchFeatures + 8000 * n, with
// the same bits as for that face by itself. If nets throw, the exception of the first of
// them in order leaves the function after the loop.
void runNetsOnFaces(ConvNet* const* nets, std::vector<Matrix*>& patchMatrices, int32_t faces,
                    float* patchFeatures);

// Scales the two rows of 160 floats in output to unit length, each by its own norm, and writes them
// to destination. A row of zeros gives NaNs.
void normalizeRows(const float* output, float* destination);

}  // namespace facefeature

#endif
