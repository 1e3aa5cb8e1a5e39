// The rows of a gallery that score highest with each of several probes.
//
// Every row is scored, and every score has the bits of CompareFeatures. The gallery is read once
// for all probes, in the order of the file, so a gallery that is larger than memory is read
// sequentially from the disk.
#ifndef FACEFEATURE_TOOLS_SEARCH_GALLERY_SEARCH_H
#define FACEFEATURE_TOOLS_SEARCH_GALLERY_SEARCH_H

#include <facefeature/facefeature.h>

#include <cstddef>
#include <optional>
#include <vector>

#include "gallery/gallery_file.h"
#include "search/scan_kernels.h"

namespace facefeature_tools {

struct Match {
  size_t row;
  float score;
};

struct SearchLimits {
  size_t top = 10;                       // largest number of matches per probe; 0 for no limit
  std::optional<float> threshold;        // lowest score of a match
  unsigned threads = 1;                  // at least 1
  const ScanKernels* kernels = nullptr;  // null: the fastest set of this processor
};

struct ProbeAnswer {
  // In descending order of score; equal scores (+0 and -0 are equal) in order of the gallery.
  std::vector<Match> matches;
  // Number of scores that are NaN. They are below every threshold and match nothing.
  size_t notNumbers = 0;
};

// The answer for each probe. Does not depend on the number of threads or the kernels.
std::vector<ProbeAnswer> searchRuns(const std::vector<FeatureRun>& runs,
                                    const std::vector<FeatureVector>& probes,
                                    const SearchLimits& limits);

// The processors that this process may use, or OMP_NUM_THREADS if that is set.
unsigned searchThreads();

}  // namespace facefeature_tools

#endif
