// Building blocks of HTML pages that stand alone: one file, without scripts, and without anything
// that is loaded from elsewhere.
//
// Functions that take text escape it. Parameters named html take what is HTML already.
#ifndef FACEFEATURE_TOOLS_PAGE_HTML_H
#define FACEFEATURE_TOOLS_PAGE_HTML_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace facefeature_tools {

// Text with the five characters that mean something in HTML replaced. Valid within double quotes
// too.
std::string htmlText(std::string_view text);

// A whole document with the style that all pages share.
std::string htmlPage(std::string_view title, const std::string& bodyHtml);

// A table. headings are text; cells are HTML, and each row has as many as there are headings.
// Columns from the second on are set as numbers, aligned to the right.
std::string htmlTable(const std::vector<std::string>& headings,
                      const std::vector<std::vector<std::string>>& rowsHtml);

// A picture or an inline SVG with a caption below.
std::string htmlFigure(const std::string& contentHtml, const std::string& captionHtml);

// "data:TYPE;base64,...", for the src of a picture.
std::string dataUri(std::string_view type, const std::vector<uint8_t>& bytes);

// A card with a photograph and a caption. An empty uri leaves a gray field with the text instead.
std::string htmlCard(const std::string& uri, std::string_view alternativeText,
                     const std::string& captionHtml);

// Cards side by side, as many in a line as there is room for.
std::string htmlCards(const std::vector<std::string>& cardsHtml);

// Cards that stay together in one frame, for instance a pair, with a caption below.
std::string htmlGroup(const std::vector<std::string>& cardsHtml, const std::string& captionHtml);

}  // namespace facefeature_tools

#endif
