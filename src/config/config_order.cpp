#include "config/config_order.h"

#include <algorithm>

namespace facefeature {
namespace {

// One search serves sections and entries: it asks for the name at an index and knows nothing else
// about the array.
using NameAt = const char* (*)(const void* array, uint32_t index);

const char* entryNameAt(const void* array, uint32_t index) {
  return static_cast<const char* const*>(array)[index];
}

const char* sectionNameAt(const void* array, uint32_t index) {
  return static_cast<const ConfigSection* const*>(array)[index]->name;
}

// The search over a half-open range, for insertion. It can't be swapped with the lookup's search
// over a closed range: that would change which of several equal names a lookup finds.
uint32_t lowerBound(const void* array, uint32_t count, const char* name, NameAt nameAt) {
  uint32_t low = 0;
  uint32_t high = count;
  while (low < high) {
    const uint32_t middle = (low + high) / 2;
    if (compareNames(name, nameAt(array, middle)) <= 0) {
      high = middle;
    } else {
      low = middle + 1;
    }
  }
  return low;
}

int32_t closedRangeSearch(const void* array, uint32_t count, const char* name, NameAt nameAt) {
  int64_t low = 0;
  int64_t high = static_cast<int64_t>(count) - 1;
  while (low <= high) {
    const int64_t middle = (low + high) / 2;
    const int32_t order = compareNames(name, nameAt(array, static_cast<uint32_t>(middle)));
    if (order == 0) return static_cast<int32_t>(middle);
    if (order > 0) {
      low = middle + 1;
    } else {
      high = middle - 1;
    }
  }
  return -1;
}

}  // namespace

int32_t compareNames(const char* sought, const char* element) {
  while (*sought != '\0' && *sought == *element) {
    ++sought;
    ++element;
  }
  // Plain char is unsigned on some platforms; the order is that of signed bytes on all of them.
  return static_cast<signed char>(*sought) - static_cast<signed char>(*element);
}

void insertSorted(const char** array, uint32_t count, const char* element) {
  const uint32_t index = lowerBound(array, count, element, entryNameAt);
  std::copy_backward(array + index, array + count, array + count + 1);
  array[index] = element;
}

void insertSorted(ConfigSection** array, uint32_t count, ConfigSection* element) {
  const uint32_t index = lowerBound(array, count, element->name, sectionNameAt);
  std::copy_backward(array + index, array + count, array + count + 1);
  array[index] = element;
}

int32_t findSorted(const char* const* array, uint32_t count, const char* name) {
  return closedRangeSearch(array, count, name, entryNameAt);
}

int32_t findSorted(ConfigSection* const* array, uint32_t count, const char* name) {
  return closedRangeSearch(array, count, name, sectionNameAt);
}

}  // namespace facefeature
