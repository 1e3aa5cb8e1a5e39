// The goals, each a ratio of two measurements of the same run.
#ifndef FACEFEATURE_BENCH_TABLE_GOALS_H
#define FACEFEATURE_BENCH_TABLE_GOALS_H

#include "results.h"

namespace facefeature_bench {

// Prints each goal with its measured value and whether it is met.
void printGoals(const Measured& measured);

}  // namespace facefeature_bench

#endif
