#define BRV_SMOOTHING_VECTOR_LANES 4
#define BRV_SMOOTHING_VECTORS 4
#include "brvcore/transforms/SmoothingKernelsImpl.h"

extern const SmoothingKernel kSmoothingKernelAvx2;
const SmoothingKernel kSmoothingKernelAvx2{kLanes, AccumulateSquaredErrors};
