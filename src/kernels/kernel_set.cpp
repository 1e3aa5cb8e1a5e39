#include "kernels/kernel_set.h"

#include <algorithm>
#include <iterator>

#include "kernels/multiply.h"
#include "kernels/pooling.h"
#include "kernels/project_rows.h"
#include "kernels/unfold.h"

namespace facefeature {
namespace {

bool runsEverywhere() { return true; }

// "fast" uses what every compiler of the target may: SSE2 on x86-64.
const KernelSet kKernelSets[] = {
    {"fast", runsEverywhere, unfoldFast, addPlaneBiasesFast, maxPoolPairsFast, projectRowsFast},
    {"plain", runsEverywhere, unfoldPlain, addPlaneBiasesPlain, maxPoolPairsPlain,
     projectRowsPlain},
};

}  // namespace

KernelSetList kernelSets() { return {kKernelSets, static_cast<int32_t>(std::size(kKernelSets))}; }

const KernelSet& plainKernels() { return *std::prev(std::end(kKernelSets)); }

const KernelSet* activeKernels = std::find_if(std::begin(kKernelSets), std::end(kKernelSets),
                                              [](const KernelSet& set) { return set.runsHere(); });

}  // namespace facefeature
