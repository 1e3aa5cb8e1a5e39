#include "search/best_matches.h"

#include <algorithm>
#include <cmath>

namespace facefeature_tools {
namespace {

// Whether a comes before b in an answer. As the order of a heap, it puts the worst at the root.
bool isBetter(const Match& a, const Match& b) {
  if (a.score != b.score) return a.score > b.score;
  return a.row < b.row;
}

}  // namespace

void BestMatches::offer(const float* scores, size_t count, size_t firstRow) {
  for (size_t i = 0; i < count; ++i) {
    // Nearly all scores return here, but NaNs do not.
    if (scores[i] < bar_) continue;
    if (std::isnan(scores[i])) {
      ++notNumbers_;
    } else {
      insert({firstRow + i, scores[i]});
    }
  }
}

void BestMatches::insert(const Match& match) {
  if (heap_.size() == top_) {
    if (!isBetter(match, heap_.front())) return;
    std::pop_heap(heap_.begin(), heap_.end(), isBetter);
    heap_.pop_back();
  }
  heap_.push_back(match);
  std::push_heap(heap_.begin(), heap_.end(), isBetter);
  updateBar();
}

void BestMatches::updateBar() {
  bar_ = threshold_.value_or(-std::numeric_limits<float>::infinity());
  if (heap_.size() == top_) bar_ = heap_.front().score;
}

void BestMatches::merge(const BestMatches& other) {
  notNumbers_ += other.notNumbers_;
  for (const Match& match : other.heap_) insert(match);
}

ProbeAnswer BestMatches::answer() const {
  ProbeAnswer answer{heap_, notNumbers_};
  std::sort(answer.matches.begin(), answer.matches.end(), isBetter);
  return answer;
}

}  // namespace facefeature_tools
