// Exact counts of scores between fixed edges.
#ifndef FACEFEATURE_TOOLS_EVALUATION_SCORE_HISTOGRAM_H
#define FACEFEATURE_TOOLS_EVALUATION_SCORE_HISTOGRAM_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace facefeature_tools {

class ScoreHistogram {
 public:
  ScoreHistogram() = default;

  // bins of equal width, up to rounding, from low to high. REQUIRES: low < high, both finite.
  ScoreHistogram(float low, float high, size_t bins);

  // A histogram with the same edges and no scores.
  ScoreHistogram emptyCopy() const;

  // REQUIRES: not NaN. Scores below the lowest edge and from the highest edge up are also counted.
  void add(float score);
  // Adds the counts of a histogram with the same edges.
  void add(const ScoreHistogram& other);

  size_t bins() const { return edges_.empty() ? 0 : edges_.size() - 1; }
  const std::vector<float>& edges() const { return edges_; }
  // Scores s with edges()[i] <= s < edges()[i + 1].
  uint64_t count(size_t i) const { return counts_[i + 1]; }
  // Scores from the highest edge up.
  uint64_t above() const { return counts_.back(); }

 private:
  std::vector<float> edges_;
  std::vector<uint64_t> counts_;  // below the first edge, in each bin, from the last edge up
  float scale_ = 0.0f;            // bins per unit of score
};

}  // namespace facefeature_tools

#endif
