// Building blocks of self-contained HTML pages: one file without scripts and without external
// resources.
//
// Functions that take text escape it. Parameters named html are inserted unchanged.
#ifndef FACEFEATURE_TOOLS_PAGE_HTML_H
#define FACEFEATURE_TOOLS_PAGE_HTML_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace facefeature_tools {

// Text with the five special characters of HTML escaped. Also valid within double quotes.
std::string htmlText(std::string_view text);

// A score or threshold with four digits, which are enough to compare by eye.
std::string htmlNumber(float value);

// A whole document with the style that all pages share.
std::string htmlPage(std::string_view title, const std::string& bodyHtml);

// A table. headings are text; cells are HTML, and each row has one for each heading. Columns from
// the second on are right-aligned, for numbers.
std::string htmlTable(const std::vector<std::string>& headings,
                      const std::vector<std::vector<std::string>>& rowsHtml);

// A picture or an inline SVG with a caption below.
std::string htmlFigure(const std::string& contentHtml, const std::string& captionHtml);

// "data:TYPE;base64,...", for the src of a picture.
std::string dataUri(std::string_view type, const std::vector<uint8_t>& bytes);

// A card with a photograph and a caption. If uri is empty, it has a gray field with the text
// instead.
std::string htmlCard(const std::string& uri, std::string_view alternativeText,
                     const std::string& captionHtml);

// Cards side by side, as many per line as fit.
std::string htmlCards(const std::vector<std::string>& cardsHtml);

// Cards that stay together in one frame, for example a pair, with a caption below.
std::string htmlGroup(const std::vector<std::string>& cardsHtml, const std::string& captionHtml);

}  // namespace facefeature_tools

#endif
