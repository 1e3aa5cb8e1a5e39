// Collects the best matches of one probe.
#ifndef FACEFEATURE_TOOLS_SEARCH_BEST_MATCHES_H
#define FACEFEATURE_TOOLS_SEARCH_BEST_MATCHES_H

#include <cstddef>
#include <limits>
#include <vector>

#include "search/gallery_search.h"

namespace facefeature_tools {

// A heap of at most `top` matches, the worst at its root.
class BestMatches {
 public:
  BestMatches(size_t top, std::optional<float> threshold)
      : top_(top == 0 ? std::numeric_limits<size_t>::max() : top), threshold_(threshold) {
    updateBar();
  }

  // The scores of rows firstRow, firstRow + 1, ... Rows may come in any order.
  void offer(const float* scores, size_t count, size_t firstRow);

  void merge(const BestMatches& other);

  // In descending order of score, then ascending order of row.
  ProbeAnswer answer() const;

 private:
  void insert(const Match& match);
  void updateBar();

  size_t top_;
  std::optional<float> threshold_;
  std::vector<Match> heap_;
  size_t notNumbers_ = 0;
  // A score below it does not enter the heap. Scores that are equal to it may.
  float bar_ = 0.0f;
};

}  // namespace facefeature_tools

#endif
