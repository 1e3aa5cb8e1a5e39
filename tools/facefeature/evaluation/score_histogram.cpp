#include "evaluation/score_histogram.h"

#include <algorithm>

namespace facefeature_tools {

ScoreHistogram::ScoreHistogram(float low, float high, size_t bins)
    : edges_(bins + 1), counts_(bins + 2), scale_(static_cast<float>(bins) / (high - low)) {
  const double width = (static_cast<double>(high) - low) / static_cast<double>(bins);
  for (size_t i = 0; i < bins; ++i) {
    edges_[i] = static_cast<float>(low + width * static_cast<double>(i));
  }
  edges_[bins] = high;
}

ScoreHistogram ScoreHistogram::emptyCopy() const {
  ScoreHistogram copy = *this;
  std::fill(copy.counts_.begin(), copy.counts_.end(), uint64_t{0});
  return copy;
}

void ScoreHistogram::add(float score) {
  // The product gives the bin or a neighbouring one; the edges decide.
  const float position = (score - edges_.front()) * scale_;
  size_t bin = 0;
  if (position > 0.0f) {
    bin = static_cast<size_t>(std::min(position, static_cast<float>(bins())));
  }
  while (bin > 0 && score < edges_[bin]) --bin;
  while (bin < bins() && score >= edges_[bin + 1]) ++bin;
  ++counts_[bin == 0 && score < edges_[0] ? 0 : bin + 1];
}

void ScoreHistogram::add(const ScoreHistogram& other) {
  for (size_t i = 0; i < counts_.size(); ++i) counts_[i] += other.counts_[i];
}

}  // namespace facefeature_tools
