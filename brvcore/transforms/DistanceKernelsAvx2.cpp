#define BRV_DISTANCE_LANES 4
#include "brvcore/transforms/DistanceKernelsImpl.h"

extern const DistanceKernel kDistanceKernelAvx2;
const DistanceKernel kDistanceKernelAvx2{FindNearest, AddRows, AddWeightedRows};
