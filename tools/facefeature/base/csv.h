// Comma-separated values according to RFC 4180: a field may be in double quotes, and may then
// contain commas, line ends and doubled quotes.
#ifndef FACEFEATURE_TOOLS_BASE_CSV_H
#define FACEFEATURE_TOOLS_BASE_CSV_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace facefeature_tools {

struct CsvRow {
  size_t line = 1;  // the line that it starts on, counted from 1
  std::vector<std::string> fields;
};

// All rows except empty lines. Lines end in LF or CR LF; the last one may end without. A byte order
// mark at the start is skipped. Throws std::runtime_error with a text that completes "the file
// ...".
std::vector<CsvRow> parseCsv(std::string_view text);

// Formats a field of a row, quoted if necessary.
std::string csvField(std::string_view value);

}  // namespace facefeature_tools

#endif
