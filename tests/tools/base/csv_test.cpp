// Comma-separated values, quoted as spreadsheets write them.
#include "base/csv.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using Fields = std::vector<std::string>;
using facefeature_tools::csvField;
using facefeature_tools::CsvRow;
using facefeature_tools::parseCsv;

std::vector<Fields> fieldsOf(const std::string& text) {
  std::vector<Fields> all;
  for (const CsvRow& row : parseCsv(text)) all.push_back(row.fields);
  return all;
}

std::string faultOf(const std::string& text) {
  try {
    parseCsv(text);
    return "";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

TEST(Csv, SplitsAtCommasAndAtLineEndsOfBothKinds) {
  EXPECT_EQ((std::vector<Fields>{{"a", "b"}, {"c", ""}, {"", "d"}}), fieldsOf("a,b\r\nc,\n,d"));
  EXPECT_EQ((std::vector<Fields>{{"a"}}), fieldsOf("a\n"));
  EXPECT_EQ((std::vector<Fields>{}), fieldsOf(""));
}

TEST(Csv, LeavesEmptyLinesAndAByteOrderMarkOut) {
  EXPECT_EQ((std::vector<Fields>{{"a"}, {"b"}}), fieldsOf("\xEF\xBB\xBF\n\r\na\n\n\nb\n\n"));
  EXPECT_EQ(4u, parseCsv("\n\n\na")[0].line);
}

TEST(Csv, QuotedFieldsHoldCommasLineEndsAndQuotes) {
  EXPECT_EQ((std::vector<Fields>{{"a,b", "say \"x\"", "two\nlines"}, {"", "z"}}),
            fieldsOf("\"a,b\",\"say \"\"x\"\"\",\"two\nlines\"\n\"\",z\n"));
  EXPECT_EQ(3u, parseCsv("\"a\nb\"\nc")[1].line);
}

TEST(Csv, KeepsSpacesAndLoneCarriageReturns) {
  EXPECT_EQ((std::vector<Fields>{{" a ", "b\rc"}}), fieldsOf(" a ,b\rc\n"));
}

TEST(Csv, MisplacedQuotesAreNamedWithTheirLine) {
  EXPECT_EQ("line 2 has a quote that is not closed", faultOf("a\n\"b,c\n"));
  EXPECT_EQ("line 1 has text after a closing quote", faultOf("\"a\"b,c\n"));
  EXPECT_EQ("line 3 has a quote within a field that doesn't begin with one",
            faultOf("a\nb\nc\"d\"\n"));
}

TEST(Csv, ReadsBackWhateverFieldsWereWritten) {
  SeededRandom random;
  const std::string letters = "ab,\"\r\n; \xC3\xA9";
  for (int round = 0; round < 3000; ++round) {
    std::vector<Fields> rows(static_cast<size_t>(random.integer(1, 4)));
    std::string text;
    for (Fields& row : rows) {
      row.resize(static_cast<size_t>(random.integer(2, 4)));
      for (std::string& field : row) {
        for (int i = random.integer(0, 6); i > 0; --i) {
          field += letters[static_cast<size_t>(random.integer(0, 9))];
        }
        text += (&field == &row.front() ? "" : ",") + csvField(field);
      }
      text += random.chance(50) ? "\n" : "\r\n";
    }
    EXPECT_EQ(rows, fieldsOf(text)) << text;
  }
}

}  // namespace
}  // namespace facefeature_test
