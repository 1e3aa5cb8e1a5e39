// The answers of a search as a page for people who look.
#ifndef FACEFEATURE_TOOLS_VERBS_SEARCH_PAGE_H
#define FACEFEATURE_TOOLS_VERBS_SEARCH_PAGE_H

#include <cstddef>
#include <optional>
#include <string>

#include "gallery/gallery_file.h"
#include "page/photo_index.h"
#include "search/gallery_search.h"

namespace facefeature_tools {

// Collects answers. The page is self-contained. It shows each probe with its photograph and its
// first hundred matches, until it has 2000 photographs.
class SearchPage {
 public:
  // photos and gallery outlive the object. The threshold of the search, if it has one, is stated.
  SearchPage(const Gallery& gallery, const PhotoIndex& photos, std::optional<float> threshold);

  // The next probe. photoOfProbe is a path, or empty to look its id up among the photographs.
  void add(const std::string& id, const std::string& photoOfProbe, const ProbeAnswer& answer);

  std::string html() const;

 private:
  const Gallery& gallery_;
  const PhotoIndex& photos_;
  std::optional<float> threshold_;
  std::string parts_;
  size_t photographs_ = 0;
  size_t omitted_ = 0;  // probes
};

}  // namespace facefeature_tools

#endif
