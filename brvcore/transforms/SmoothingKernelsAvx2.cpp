#define BRV_SMOOTHING_LANES 16
#include "brvcore/transforms/SmoothingKernelsImpl.h"

extern const SmoothingKernel kSmoothingKernelAvx2;
const SmoothingKernel kSmoothingKernelAvx2{kLanes, AccumulateSquaredErrors};
