// The goals, each a ratio of what one run has measured.
#ifndef FACEFEATURE_BENCH_TABLE_GOALS_H
#define FACEFEATURE_BENCH_TABLE_GOALS_H

#include "results.h"

namespace facefeature_bench {

// Prints each goal with what was measured and whether it holds.
void printGoals(const Measured& measured);

}  // namespace facefeature_bench

#endif
