#include "cluster/cluster_page.h"

#include <algorithm>

#include "page/html.h"
#include "search/scan_kernels.h"

namespace facefeature_tools {
namespace {

constexpr size_t kMaxShown = 100;
constexpr int32_t kThumbnailSide = 320;

// The mean score of each of the first rows with the others.
std::vector<float> meanScores(const Gallery& gallery, const std::vector<uint32_t>& rows) {
  const size_t count = std::min(rows.size(), kMaxShown);
  std::vector<FeatureVector> features;
  for (size_t i = 0; i < count; ++i) features.push_back(gallery.feature(rows[i]));
  std::vector<float> scores(count * count);
  const float* floats = features.front().values;
  fastestScanKernels().score(floats, static_cast<int32_t>(count), floats,
                             static_cast<int32_t>(count), scores.data());
  std::vector<float> means;
  for (size_t i = 0; i < count; ++i) {
    double sum = 0.0;
    for (size_t j = 0; j < count; ++j) {
      if (j != i) sum += static_cast<double>(scores[i * count + j]);
    }
    means.push_back(static_cast<float>(sum / static_cast<double>(count - 1)));
  }
  return means;
}

// The means are empty, or there is one for each row that is shown.
std::string part(const std::string& title, const Gallery& gallery,
                 const std::vector<uint32_t>& rows, const std::vector<float>& means,
                 const PhotoIndex& photographs) {
  std::string html = "<h2>" + htmlText(title) + "</h2>\n";
  std::vector<std::string> cards;
  for (size_t i = 0; i < std::min(rows.size(), kMaxShown); ++i) {
    const std::string_view id = gallery.id(rows[i]);
    const std::string mean =
        means.empty() ? "" : "<strong>" + htmlNumber(means[i]) + "</strong><br>";
    cards.push_back(
        htmlCard(photographs.thumbnailUri(id, kThumbnailSide), id, mean + htmlText(id)));
  }
  html += htmlCards(cards);
  if (rows.size() > kMaxShown) {
    html += "<p class=\"note\">And " + std::to_string(rows.size() - kMaxShown) +
            " more, which are in the table.</p>\n";
  }
  return html;
}

}  // namespace

std::string clusterPage(const Gallery& gallery, const Clusters& clusters, float threshold,
                        const PhotoIndex& photographs) {
  std::string parts;
  std::vector<uint32_t> alone;
  size_t several = 0;
  for (const std::vector<uint32_t>& rows : clusters) {
    if (rows.size() == 1) {
      alone.push_back(rows.front());
      continue;
    }
    ++several;
    parts += part(
        "Cluster " + std::to_string(several) + ": " + std::to_string(rows.size()) + " photographs",
        gallery, rows, meanScores(gallery, rows), photographs);
  }
  std::sort(alone.begin(), alone.end());
  if (!alone.empty()) {
    parts += part("Alone: " + std::to_string(alone.size()) + " photographs", gallery, alone, {},
                  photographs);
  }
  const std::string summary = "<p>" + std::to_string(gallery.count()) + " photographs, " +
                              std::to_string(several) + " clusters of several, " +
                              std::to_string(alone.size()) + " photographs alone. Threshold " +
                              htmlNumber(threshold) +
                              ".</p>\n<p>The number below a photograph is its mean score with "
                              "the others of its cluster. The photographs with the lowest numbers "
                              "are the least certain.</p>\n";
  return htmlPage("Faces by cluster", summary + parts);
}

}  // namespace facefeature_tools
