// Oracle of the last stage of an extraction and of the comparison of two features, in exact single
// steps.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_PROJECTION_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_PROJECTION_H

#include <cstddef>
#include <vector>

namespace reference {

constexpr size_t kJoinedFloats = 8000;
constexpr size_t kProjections = 500;
constexpr size_t kFeature = 502;

// Transposes 500 rows of 8000 into 8000 columns of 500.
std::vector<float> columnsOf(const float* projection);

struct ProjectedFeature {
  std::vector<float> meanFree;  // the joined outputs after normalisation
  std::vector<float> feature;   // 502 floats
};

// joined and mean have 8000 floats; the projections are stored by columns.
ProjectedFeature project(const float* joined, const float* mean,
                         const std::vector<float>& selfColumns,
                         const std::vector<float>& crossColumns);

float compare(const float* a, const float* b);

}  // namespace reference

#endif
