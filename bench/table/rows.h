// The rows of the table: stages, complete extractions and kernels, each with its limit.
#ifndef FACEFEATURE_BENCH_TABLE_ROWS_H
#define FACEFEATURE_BENCH_TABLE_ROWS_H

#include "results.h"

namespace facefeature_bench {

// Prints the rows. Returns false if results that must have the same bits do not.
bool printRows(const Measured& measured);

}  // namespace facefeature_bench

#endif
