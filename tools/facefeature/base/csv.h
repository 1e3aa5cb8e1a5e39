// Comma separated values as RFC 4180 has them: fields may stand in double quotes, and then hold
// commas, line ends and, doubled, quotes.
#ifndef FACEFEATURE_TOOLS_BASE_CSV_H
#define FACEFEATURE_TOOLS_BASE_CSV_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace facefeature_tools {

struct CsvRow {
  size_t line = 1;  // on which it starts, counted from 1
  std::vector<std::string> fields;
};

// All rows but empty lines. Lines end in LF or CR LF, the last one also without; a byte order mark
// at the start is left out. Throws std::runtime_error with words that complete "the file ...".
std::vector<CsvRow> parseCsv(std::string_view text);

// A field for a row, in quotes where it needs them.
std::string csvField(std::string_view value);

}  // namespace facefeature_tools

#endif
