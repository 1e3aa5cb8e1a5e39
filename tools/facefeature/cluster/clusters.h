// Groups similar features, for instance the photographs of each person in an unsorted collection.
#ifndef FACEFEATURE_TOOLS_CLUSTER_CLUSTERS_H
#define FACEFEATURE_TOOLS_CLUSTER_CLUSTERS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace facefeature_tools {

// The rows of each cluster in ascending order. Clusters are in descending order of size, and those
// of equal size in ascending order of their first row.
using Clusters = std::vector<std::vector<uint32_t>>;

// Two features are in one cluster if a chain of scores that reach the threshold connects them.
// features holds count features of 502 floats. Scores have the bits of CompareFeatures; NaN reaches
// no threshold. Runs on as many threads as OpenMP starts; the result does not depend on their
// number.
Clusters connectedComponents(const float* features, size_t count, float threshold);

// Average linkage: every feature starts in a cluster of its own, and the two clusters with the
// highest mean score between their features merge as long as that mean reaches the threshold.
// Unlike in a connected component, a single score that is too high by chance does not join two
// people.
//
// Clusters that merge have a score of at least the mean between them, so each cluster lies within a
// connected component, and the components are processed one by one. Memory: 4 bytes times the
// square of the size of the largest component. A mean that includes a NaN reaches no threshold.
//
// Throws Failure (kBadInput) that names subject if a component has more than kMaxConnected
// features.
Clusters averageLinkage(const float* features, size_t count, float threshold, const char* subject);

constexpr size_t kMaxConnected = 30000;  // 3.6 GB

}  // namespace facefeature_tools

#endif
