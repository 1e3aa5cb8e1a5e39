#include "kernels/kernel_set.h"

#include <algorithm>
#include <iterator>

#include "kernels/direct_convolution.h"
#include "kernels/multiply.h"
#include "kernels/pooling.h"
#include "kernels/product.h"
#include "kernels/project_rows.h"
#include "kernels/unfold.h"
#include "platform/processor.h"

namespace facefeature {
namespace {

bool runsEverywhere() { return true; }

// The parts that are the same in all sets but the plain one: what every compiler of the target may
// use, which is SSE2 on x86-64. Wider registers would not make them faster (docs/performance.md).
#define FACEFEATURE_BASELINE unfoldFast, addPlaneBiasesFast, maxPoolPairsFast, projectRowsFast

const KernelSet kKernelSets[] = {
#if defined(__x86_64__)
    {"avx512", hasAvx512, FACEFEATURE_BASELINE, projectManyAvx512, productAvx512,
     convolveDirectAvx512, transposeAvx512},
    {"avx2", hasAvx2AndFma, FACEFEATURE_BASELINE, projectManyAvx2, productAvx2, convolveDirectAvx2,
     transposeAvx2},
    {"sse2", runsEverywhere, FACEFEATURE_BASELINE, projectManySse2, productSse2, convolveDirectSse2,
     transposeSse2},
#elif defined(__aarch64__)
    {"neon", runsEverywhere, FACEFEATURE_BASELINE, projectManyNeon, productNeon, convolveDirectNeon,
     transposeNeon},
#endif
    {"plain", runsEverywhere, unfoldPlain, addPlaneBiasesPlain, maxPoolPairsPlain, projectRowsPlain,
     projectManyPlain, productPlain, convolveDirectPlain, transposePlain},
};

#undef FACEFEATURE_BASELINE

}  // namespace

KernelSetList kernelSets() { return {kKernelSets, static_cast<int32_t>(std::size(kKernelSets))}; }

const KernelSet& plainKernels() { return *std::prev(std::end(kKernelSets)); }

const KernelSet* activeKernels = std::find_if(std::begin(kKernelSets), std::end(kKernelSets),
                                              [](const KernelSet& set) { return set.runsHere(); });

}  // namespace facefeature
