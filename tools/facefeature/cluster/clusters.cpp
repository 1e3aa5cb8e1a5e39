#include "cluster/clusters.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "base/failure.h"
#include "evaluation/disjoint_sets.h"
#include "evaluation/score_rows.h"

namespace facefeature_tools {
namespace {

constexpr float kNever = -std::numeric_limits<float>::infinity();

Clusters clustersOf(DisjointSets& sets, size_t count) {
  std::vector<std::vector<uint32_t>> ofRoot(count);
  for (uint32_t i = 0; i < count; ++i) ofRoot[sets.find(i)].push_back(i);
  Clusters clusters;
  for (std::vector<uint32_t>& rows : ofRoot) {
    if (!rows.empty()) clusters.push_back(std::move(rows));
  }
  // The sort is stable, so that clusters of equal size stay in ascending order of their first row.
  std::stable_sort(clusters.begin(), clusters.end(),
                   [](const auto& a, const auto& b) { return a.size() > b.size(); });
  return clusters;
}

// Mean scores between clusters of the features of one connected component.
class MeanScores {
 public:
  // rows are those of the component.
  MeanScores(const float* features, const std::vector<uint32_t>& rows)
      : count_(rows.size()), sizes_(count_, 1), means_(count_ * count_) {
    std::vector<float> own;
    own.reserve(count_ * kFeatureFloats);
    for (const uint32_t row : rows) {
      const float* feature = features + size_t{row} * kFeatureFloats;
      own.insert(own.end(), feature, feature + kFeatureFloats);
    }
#pragma omp parallel
    forEachScoreRow(own.data(), count_, AllColumns::kYes, [&](uint32_t a, const float* scores) {
      std::transform(scores, scores + count_, &means_[a * count_],
                     [](float score) { return std::isnan(score) ? kNever : score; });
    });
  }

  bool exists(size_t cluster) const { return sizes_[cluster] > 0; }

  // The cluster with the highest mean score with this one; `wanted` wins ties, then the lower
  // index. REQUIRES: a second cluster.
  size_t nearest(size_t cluster, size_t wanted) const {
    size_t best = wanted;
    for (size_t other = 0; other < count_; ++other) {
      if (other == cluster || !exists(other)) continue;
      if (best == count_ || mean(cluster, other) > mean(cluster, best)) best = other;
    }
    return best;
  }

  float mean(size_t a, size_t b) const { return means_[a * count_ + b]; }
  size_t none() const { return count_; }

  // Merges b into a.
  void merge(size_t a, size_t b) {
    const double sizeA = sizes_[a], sizeB = sizes_[b];
    for (size_t other = 0; other < count_; ++other) {
      if (other == a || other == b || !exists(other)) continue;
      const double sum = sizeA * mean(a, other) + sizeB * mean(b, other);
      const auto merged = static_cast<float>(sum / (sizeA + sizeB));
      const float value = std::isnan(merged) ? kNever : merged;
      means_[a * count_ + other] = value;
      means_[other * count_ + a] = value;
    }
    sizes_[a] += sizes_[b];
    sizes_[b] = 0;
  }

 private:
  size_t count_;
  std::vector<uint32_t> sizes_;
  std::vector<float> means_;  // a matrix
};

// Merges along chains of nearest neighbours: two clusters merge as soon as each is the nearest
// neighbour of the other. Merging them before a pair with a higher mean elsewhere gives the same
// result, because the mean with a merged cluster is never above the higher of the two means. The
// time is quadratic in the number of features; a search for the best pair in each step would make
// it cubic.
void linkComponent(const float* features, const std::vector<uint32_t>& rows, float threshold,
                   DisjointSets& sets) {
  MeanScores means(features, rows);
  std::vector<size_t> chain;
  size_t left = rows.size();
  for (size_t start = 0; left > 1;) {
    if (chain.empty()) {
      while (!means.exists(start)) ++start;
      chain.push_back(start);
    }
    const size_t last = chain.back();
    const size_t before = chain.size() > 1 ? chain[chain.size() - 2] : means.none();
    const size_t nearest = means.nearest(last, before);
    if (nearest != before) {
      chain.push_back(nearest);
      continue;
    }
    chain.resize(chain.size() - 2);
    const size_t a = std::min(last, nearest), b = std::max(last, nearest);
    if (means.mean(a, b) >= threshold) sets.merge(rows[a], rows[b]);
    means.merge(a, b);
    --left;
  }
}

}  // namespace

Clusters connectedComponents(const float* features, size_t count, float threshold) {
  DisjointSets sets(count);
#pragma omp parallel
  {
    DisjointSets mine(count);
    forEachScoreRow(features, count, AllColumns::kNo, [&](uint32_t a, const float* scores) {
      for (uint32_t b = a + 1; b < count; ++b) {
        if (scores[b] >= threshold) mine.merge(a, b);
      }
    });
#pragma omp critical
    for (uint32_t i = 0; i < count; ++i) sets.merge(i, mine.find(i));
  }
  return clustersOf(sets, count);
}

Clusters averageLinkage(const float* features, size_t count, float threshold, const char* subject) {
  DisjointSets sets(count);
  for (const std::vector<uint32_t>& component : connectedComponents(features, count, threshold)) {
    if (component.size() > kMaxConnected) {
      throw Failure(kBadInput, subject,
                    std::to_string(component.size()) +
                        " features are connected at this threshold, more than " +
                        std::to_string(kMaxConnected),
                    "Raise the threshold, or use --method components");
    }
    if (component.size() > 1) linkComponent(features, component, threshold, sets);
  }
  return clustersOf(sets, count);
}

}  // namespace facefeature_tools
