// Shows clusters as an HTML page.
#ifndef FACEFEATURE_TOOLS_CLUSTER_CLUSTER_PAGE_H
#define FACEFEATURE_TOOLS_CLUSTER_CLUSTER_PAGE_H

#include <string>

#include "cluster/clusters.h"
#include "gallery/gallery_file.h"
#include "page/photo_index.h"

namespace facefeature_tools {

// A self-contained page with a section for each cluster of several rows and one for all others. A
// section shows its first hundred rows. Each of them has its mean score with the others shown.
std::string clusterPage(const Gallery& gallery, const Clusters& clusters, float threshold,
                        const PhotoIndex& photographs);

}  // namespace facefeature_tools

#endif
