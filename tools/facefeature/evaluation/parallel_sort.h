// Sorting on all threads, in place.
#ifndef FACEFEATURE_TOOLS_EVALUATION_PARALLEL_SORT_H
#define FACEFEATURE_TOOLS_EVALUATION_PARALLEL_SORT_H

#include <algorithm>
#include <vector>

namespace facefeature_tools {

template <typename Iterator, typename Before>
void sortAsTask(Iterator begin, Iterator end, Before before) {
  constexpr std::ptrdiff_t kWorthATask = 1 << 18;
  if (end - begin <= kWorthATask) {
    std::sort(begin, end, before);
    return;
  }
  const Iterator middle = begin + (end - begin) / 2;
  std::nth_element(begin, middle, end, before);
#pragma omp task
  sortAsTask(begin, middle, before);
  sortAsTask(middle, end, before);
#pragma omp taskwait
}

// The same result as std::sort when before() is a total order.
template <typename Element, typename Before>
void sortInParallel(std::vector<Element>& elements, Before before) {
#pragma omp parallel
#pragma omp single
  sortAsTask(elements.begin(), elements.end(), before);
}

}  // namespace facefeature_tools

#endif
