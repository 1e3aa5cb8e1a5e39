// Sets that only ever merge (union-find).
#ifndef FACEFEATURE_TOOLS_EVALUATION_DISJOINT_SETS_H
#define FACEFEATURE_TOOLS_EVALUATION_DISJOINT_SETS_H

#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace facefeature_tools {

class DisjointSets {
 public:
  // Elements 0 to count - 1, each in a set of its own.
  explicit DisjointSets(size_t count) : parents_(count) {
    std::iota(parents_.begin(), parents_.end(), uint32_t{0});
  }

  // The lowest element of the set that holds this one.
  uint32_t find(uint32_t element) {
    while (parents_[element] != element) {
      parents_[element] = parents_[parents_[element]];
      element = parents_[element];
    }
    return element;
  }

  void merge(uint32_t a, uint32_t b) {
    a = find(a);
    b = find(b);
    if (a > b) std::swap(a, b);
    parents_[b] = a;
  }

 private:
  std::vector<uint32_t> parents_;
};

}  // namespace facefeature_tools

#endif
