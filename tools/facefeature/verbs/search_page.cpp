#include "verbs/search_page.h"

#include <string_view>
#include <vector>

#include "page/html.h"

namespace facefeature_tools {
namespace {

// On the whole page, which then has some tens of megabytes.
constexpr size_t kMostPhotographs = 2000;
constexpr size_t kMostMatches = 100;
constexpr int32_t kThumbnailSide = 320;

std::string more(size_t count, const char* what) {
  return "<p class=\"note\">And " + std::to_string(count) + " more " + what + ".</p>\n";
}

}  // namespace

SearchPage::SearchPage(const Gallery& gallery, const PhotoIndex& photos,
                       std::optional<float> threshold)
    : gallery_(gallery), photos_(photos), threshold_(threshold) {}

void SearchPage::add(const std::string& id, const std::string& photoOfProbe,
                     const ProbeAnswer& answer) {
  if (photographs_ >= kMostPhotographs) {
    ++omitted_;
    return;
  }
  const std::string uri = photoOfProbe.empty()
                              ? photos_.thumbnailUri(id, kThumbnailSide)
                              : photos_.thumbnailUriOfFile(photoOfProbe, kThumbnailSide);
  std::vector<std::string> cards = {htmlCard(uri, id, "<strong>Probe</strong>")};
  size_t rank = 0;
  for (const Match& match : answer.matches) {
    if (++rank > kMostMatches) break;
    const std::string_view name = gallery_.id(match.row);
    cards.push_back(htmlCard(photos_.thumbnailUri(name, kThumbnailSide), name,
                             std::to_string(rank) + ". <strong>" + htmlNumber(match.score) +
                                 "</strong><br>" + htmlText(name)));
  }
  photographs_ += cards.size();
  parts_ += "<h2>" + htmlText(id) + "</h2>\n" + htmlCards(cards);
  if (answer.matches.empty()) parts_ += "<p>No match.</p>\n";
  if (answer.matches.size() > kMostMatches) {
    parts_ += more(answer.matches.size() - kMostMatches, "matches");
  }
}

std::string SearchPage::html() const {
  std::string summary = "<p>The faces that score highest with each probe, of the " +
                        std::to_string(gallery_.count()) + " in " + htmlText(gallery_.path()) +
                        ". ";
  summary += threshold_ ? "Only scores of " + htmlNumber(*threshold_) + " or more."
                        : "There is no threshold, so even the first match may be another person.";
  summary += "</p>\n";
  const std::string rest = omitted_ > 0 ? more(omitted_, "probes") : "";
  return htmlPage("Search", summary + parts_ + rest);
}

}  // namespace facefeature_tools
