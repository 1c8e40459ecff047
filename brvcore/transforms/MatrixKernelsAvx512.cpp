#define BRV_MATRIX_LANES 8
#define BRV_TILE_VECTORS 3
#define BRV_TILE_COLS 8
#include "brvcore/transforms/MatrixKernelsImpl.h"

extern const MatrixKernels kMatrixKernelsAvx512;
const MatrixKernels kMatrixKernelsAvx512 = kKernels;
