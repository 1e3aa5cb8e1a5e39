#include "kernels/kernel_set.h"

#include "kernels/multiply.h"
#include "kernels/pooling.h"
#include "kernels/project_rows.h"
#include "kernels/unfold.h"

namespace facefeature {

const KernelSet kPlainKernels = {"plain",           unfoldPlain,      addPlaneBiasesPlain,
                                 maxPoolPairsPlain, projectRowsPlain, false};

const KernelSet kFastKernels = {"fast",           unfoldFast,      addPlaneBiasesFast,
                                maxPoolPairsFast, projectRowsFast, true};

const KernelSet* activeKernels = &kFastKernels;

}  // namespace facefeature
