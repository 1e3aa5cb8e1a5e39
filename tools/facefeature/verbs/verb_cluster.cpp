#include "verbs/verb_cluster.h"

#include <memory>
#include <string>
#include <vector>

#include "base/csv.h"
#include "base/output_file.h"
#include "base/standard_output.h"
#include "cluster/cluster_page.h"
#include "cluster/clusters.h"
#include "gallery/gallery_file.h"
#include "page/photo_index.h"
#include "verbs/option_checks.h"
#include "verbs/threshold_option.h"

namespace facefeature_tools {
namespace {

constexpr char kComponents[] = "components";
constexpr char kAverage[] = "average";

struct ClusterRequest {
  std::string gallery;
  ThresholdChoice threshold;
  std::string method = kComponents;
  std::string page;               // HTML file, or empty
  std::string photographs = ".";  // list or folder
};

std::vector<float> featuresOf(const Gallery& gallery) {
  std::vector<float> features;
  features.reserve(gallery.count() * kFeatureFloats);
  for (size_t row = 0; row < gallery.count(); ++row) {
    const FeatureVector feature = gallery.feature(row);
    features.insert(features.end(), std::begin(feature.values), std::end(feature.values));
  }
  return features;
}

ExitCode runCluster(const ClusterRequest& request) {
  const PhotoIndex photographs =
      request.page.empty() ? PhotoIndex() : PhotoIndex(request.photographs);
  const Gallery gallery(request.gallery);
  const std::optional<float> threshold =
      chosenThreshold(kClusterVerb, request.threshold, {&gallery});
  if (!threshold) {
    throw Failure(kWrongUsage, "--threshold", "is required",
                  "Give a threshold, or a file of thresholds with --threshold-file");
  }
  const std::vector<float> features = featuresOf(gallery);
  const Clusters clusters =
      request.method == kAverage
          ? averageLinkage(features.data(), gallery.count(), *threshold, request.gallery.c_str())
          : connectedComponents(features.data(), gallery.count(), *threshold);

  std::vector<size_t> clusterOf(gallery.count());
  for (size_t cluster = 0; cluster < clusters.size(); ++cluster) {
    for (const uint32_t row : clusters[cluster]) clusterOf[row] = cluster + 1;
  }
  if (!request.page.empty()) {
    OutputFile file(request.page);
    file.write(clusterPage(gallery, clusters, *threshold, photographs));
    file.publish();
  }
  printData("id,cluster\n");
  for (size_t row = 0; row < gallery.count(); ++row) {
    printData(csvField(gallery.id(row)) + "," + std::to_string(clusterOf[row]) + "\n");
  }
  finishData();
  return kDone;
}

std::string methodFault(const std::string& text) {
  return text == kComponents || text == kAverage ? "" : text + " is neither components nor average";
}

VerbRun define(Options& options) {
  auto request = std::make_shared<ClusterRequest>();
  options.add("GALLERY", request->gallery, "Gallery file").required();
  addThreshold(options, request->threshold, "Scores of T or more are of one person");
  options
      .add("--method", request->method,
           "components (the default): photographs that a chain of such scores connects; "
           "average: clusters whose mean score reaches the threshold")
      .check(methodFault)
      .valueName("components|average");
  options.add("--html", request->page, "Page to write, with the photographs of each cluster")
      .check(htmlNameFault)
      .valueName("FILE.html");
  options
      .add(
          "--photos", request->photographs,
          "Photographs for the page: a list as for extract --list, or a folder with a file per id. "
          "By default, ids are names of files")
      .valueName("LIST|FOLDER");
  return [request] { return runCluster(*request); };
}

}  // namespace

const Verb kClusterVerb = {"cluster", "Group the faces of a gallery by person", define};

}  // namespace facefeature_tools
