#include "cluster/cluster_page.h"

#include <algorithm>

#include "base/float_text.h"
#include "page/html.h"

namespace facefeature_tools {
namespace {

constexpr size_t kMaxShown = 100;
constexpr int32_t kThumbnailSide = 320;

std::string part(const std::string& title, const Gallery& gallery,
                 const std::vector<uint32_t>& rows, const PhotoIndex& photographs) {
  std::string html = "<h2>" + htmlText(title) + "</h2>\n";
  std::vector<std::string> cards;
  for (size_t i = 0; i < std::min(rows.size(), kMaxShown); ++i) {
    const std::string_view id = gallery.id(rows[i]);
    cards.push_back(htmlCard(photographs.thumbnailUri(id, kThumbnailSide), id, htmlText(id)));
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
        gallery, rows, photographs);
  }
  std::sort(alone.begin(), alone.end());
  if (!alone.empty()) {
    parts += part("Alone: " + std::to_string(alone.size()) + " photographs", gallery, alone,
                  photographs);
  }
  const std::string summary = "<p>" + std::to_string(gallery.count()) + " photographs, " +
                              std::to_string(several) + " clusters of several, " +
                              std::to_string(alone.size()) + " photographs alone. Threshold " +
                              htmlText(floatText(threshold)) + ".</p>\n";
  return htmlPage("Faces by cluster", summary + parts);
}

}  // namespace facefeature_tools
