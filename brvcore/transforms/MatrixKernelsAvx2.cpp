#define BRV_MATRIX_LANES 4
#define BRV_TILE_VECTORS 2
#define BRV_TILE_COLS 6
#include "brvcore/transforms/MatrixKernelsImpl.h"

extern const MatrixKernels kMatrixKernelsAvx2;
const MatrixKernels kMatrixKernelsAvx2 = kKernels;
