#include "page/html.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

size_t countOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(Html, TextCantBecomeAnElementOrEndAnAttribute) {
  EXPECT_EQ("a&lt;b&gt;&amp;&quot;&#39;\xC3\xA9", htmlText("a<b>&\"'\xC3\xA9"));
  EXPECT_EQ("", htmlText(""));
}

TEST(Html, PageHasItsTitleAsTextAndForbidsWhatIsLoaded) {
  const std::string page = htmlPage("<i>", "<p>body</p>");
  EXPECT_EQ(0u, page.find("<!DOCTYPE html>\n"));
  EXPECT_EQ(2u, countOf(page, "&lt;i&gt;"));
  EXPECT_EQ(0u, countOf(page, "<i>"));
  EXPECT_EQ(1u, countOf(page, "default-src 'none'; img-src data:; style-src 'unsafe-inline'"));
  EXPECT_EQ(1u, countOf(page, "<p>body</p>"));
}

TEST(Html, DataUriIsTheBase64OfRfc4648) {
  const std::string vectors[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
  const std::string text = "foobar";
  for (size_t length = 0; length <= 6; ++length) {
    const std::vector<uint8_t> bytes(text.begin(), text.begin() + static_cast<ptrdiff_t>(length));
    EXPECT_EQ("data:text/plain;base64," + vectors[length], dataUri("text/plain", bytes));
  }
  EXPECT_EQ("data:x/y;base64,+/+/AP8=", dataUri("x/y", {0xFB, 0xFF, 0xBF, 0x00, 0xFF}));
}

TEST(Html, CardWithoutAPhotographShowsTheText) {
  const std::string with = htmlCard("data:image/jpeg;base64,AA==", "\"a\"", "caption");
  EXPECT_EQ(1u, countOf(with, "<img src=\"data:image/jpeg;base64,AA==\" alt=\"&quot;a&quot;\">"));
  const std::string without = htmlCard("", "<a>", "caption");
  EXPECT_EQ(0u, countOf(without, "<img"));
  EXPECT_EQ(1u, countOf(without, "&lt;a&gt;"));
}

TEST(Html, TableHasACellForEachHeadingInEachRow) {
  const std::string table = htmlTable({"a", "<b>"}, {{"1", "<em>2</em>"}, {"3", "4"}});
  EXPECT_EQ(2u, countOf(table, "<th>"));
  EXPECT_EQ(1u, countOf(table, "<th>&lt;b&gt;</th>"));
  EXPECT_EQ(4u, countOf(table, "<td>"));
  EXPECT_EQ(1u, countOf(table, "<td><em>2</em></td>"));
}

}  // namespace
}  // namespace facefeature_test
