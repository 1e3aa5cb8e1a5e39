#include "page/html.h"

#include <cstddef>
#include <cstdio>

namespace facefeature_tools {
namespace {

constexpr char kStyle[] = R"(
:root { color-scheme: light; }
body { font: 16px/1.5 system-ui, "DejaVu Sans", sans-serif; color: #1c2026; background: #fff;
       max-width: 72rem; margin: 0 auto; padding: 1.5rem; }
h1 { font-size: 1.6rem; margin: 0 0 .5rem; }
h2 { font-size: 1.2rem; margin: 2.5rem 0 .5rem; border-bottom: 1px solid #d5d9e0; }
p { max-width: 46rem; }
p.note, figcaption, td.note { color: #565d68; font-size: .9rem; }
code { font-size: .9em; overflow-wrap: anywhere; }
table { border-collapse: collapse; margin: 1rem 0; font-variant-numeric: tabular-nums; }
th, td { white-space: nowrap; padding: .25rem .9rem .25rem 0; text-align: right; border-bottom: 1px solid #e6e9ee; }
th { color: #565d68; font-weight: 600; font-size: .9rem; vertical-align: bottom; }
th:first-child, td:first-child { text-align: left; }
td:last-child { white-space: normal; }
figure { margin: 1rem 0; }
svg { max-width: 100%; height: auto; }
img.half { max-width: 34rem; max-height: 34rem; }
img.wide { max-width: 100%; height: auto; }
.charts { display: grid; grid-template-columns: repeat(auto-fit, minmax(24rem, 1fr)); gap: 1rem; }
.cards { display: flex; flex-wrap: wrap; gap: 1rem; align-items: flex-start; }
.card { width: 10rem; margin: 0; }
.card img { width: 10rem; height: 10rem; object-fit: contain; background: #eef0f3; display: block; }
.card .none { width: 10rem; height: 10rem; background: #eef0f3; color: #565d68; display: flex;
              align-items: center; justify-content: center; text-align: center; font-size: .85rem;
              overflow-wrap: anywhere; }
.card figcaption { overflow-wrap: anywhere; }
.group { border: 1px solid #d5d9e0; border-radius: .4rem; padding: .75rem; margin: 0; }
@media print { h2 { break-after: avoid; } .group, .card, svg { break-inside: avoid; } }
)";

}  // namespace

std::string htmlText(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\'':
        escaped += "&#39;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string htmlNumber(float value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4g", static_cast<double>(value));
  return text;
}

std::string htmlPage(std::string_view title, const std::string& bodyHtml) {
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         // Even if an id contains markup, the browser loads nothing: it shows only embedded
         // content.
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
         "img-src data:; style-src 'unsafe-inline'\">\n<title>" +
         htmlText(title) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n<h1>" +
         htmlText(title) + "</h1>\n" + bodyHtml + "</body>\n</html>\n";
}

std::string htmlTable(const std::vector<std::string>& headings,
                      const std::vector<std::vector<std::string>>& rowsHtml) {
  std::string table = "<table>\n<tr>";
  for (const std::string& heading : headings) table += "<th>" + htmlText(heading) + "</th>";
  table += "</tr>\n";
  for (const std::vector<std::string>& row : rowsHtml) {
    table += "<tr>";
    for (const std::string& cell : row) table += "<td>" + cell + "</td>";
    table += "</tr>\n";
  }
  return table + "</table>\n";
}

std::string htmlFigure(const std::string& contentHtml, const std::string& captionHtml) {
  return "<figure>" + contentHtml + "<figcaption>" + captionHtml + "</figcaption></figure>\n";
}

std::string dataUri(std::string_view type, const std::vector<uint8_t>& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string uri = "data:" + std::string(type) + ";base64,";
  uri.reserve(uri.size() + (bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t left = bytes.size() - i;
    const uint32_t three = static_cast<uint32_t>(bytes[i]) << 16 |
                           (left > 1 ? static_cast<uint32_t>(bytes[i + 1]) << 8 : 0u) |
                           (left > 2 ? static_cast<uint32_t>(bytes[i + 2]) : 0u);
    uri += kDigits[three >> 18];
    uri += kDigits[three >> 12 & 63];
    uri += left > 1 ? kDigits[three >> 6 & 63] : '=';
    uri += left > 2 ? kDigits[three & 63] : '=';
  }
  return uri;
}

std::string htmlCard(const std::string& uri, std::string_view alternativeText,
                     const std::string& captionHtml) {
  const std::string alternative = htmlText(alternativeText);
  const std::string picture =
      uri.empty() ? "<div class=\"none\">" + alternative + "</div>"
                  : "<img src=\"" + htmlText(uri) + "\" alt=\"" + alternative + "\">";
  return "<figure class=\"card\">" + picture + "<figcaption>" + captionHtml +
         "</figcaption></figure>\n";
}

std::string htmlCards(const std::vector<std::string>& cardsHtml) {
  std::string cards = "<div class=\"cards\">\n";
  for (const std::string& card : cardsHtml) cards += card;
  return cards + "</div>\n";
}

std::string htmlGroup(const std::vector<std::string>& cardsHtml, const std::string& captionHtml) {
  return "<figure class=\"group\">" + htmlCards(cardsHtml) + "<figcaption>" + captionHtml +
         "</figcaption></figure>\n";
}

}  // namespace facefeature_tools
