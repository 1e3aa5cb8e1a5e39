// Groups of features that are alike: photographs of one person in a heap of photographs.
#ifndef FACEFEATURE_TOOLS_CLUSTER_CLUSTERS_H
#define FACEFEATURE_TOOLS_CLUSTER_CLUSTERS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace facefeature_tools {

// The rows of each cluster, ascending. The largest cluster comes first; of two that are equally
// large, the one with the lower first row.
using Clusters = std::vector<std::vector<uint32_t>>;

// Two features are in one cluster if a chain of scores that reach the threshold connects them.
// features holds count features of 502 floats. Scores have the bits of CompareFeatures; NaN reaches
// no threshold. Runs on as many threads as OpenMP starts; the result does not depend on their
// number.
Clusters connectedComponents(const float* features, size_t count, float threshold);

// Average linkage: every feature starts alone, and the two clusters with the highest mean score
// between their features merge as long as that mean reaches the threshold. One score that is too
// high by chance does not join two people, as it does in a connected component.
//
// Clusters that merge have a score of at least the mean, so each lies within a connected component
// and the components are processed one by one. Memory: 4 bytes times the square of the size of the
// largest component. A mean with a NaN in it reaches no threshold.
//
// Throws Failure (kBadInput) that names subject if a component has more than kMostConnected
// features.
Clusters averageLinkage(const float* features, size_t count, float threshold, const char* subject);

constexpr size_t kMostConnected = 30000;  // 3.6 GB

}  // namespace facefeature_tools

#endif
