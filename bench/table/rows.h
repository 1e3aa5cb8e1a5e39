// The rows of the table: stages, whole calls and kernels, with the limits beside them.
#ifndef FACEFEATURE_BENCH_TABLE_ROWS_H
#define FACEFEATURE_BENCH_TABLE_ROWS_H

#include "results.h"

namespace facefeature_bench {

// Prints the rows. False if forms that must give the same bits do not.
bool printRows(const Measured& measured);

}  // namespace facefeature_bench

#endif
