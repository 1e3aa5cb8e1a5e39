#include "base/csv.h"

#include <algorithm>
#include <stdexcept>

namespace facefeature_tools {
namespace {

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {
    if (text_.substr(0, 3) == "\xEF\xBB\xBF") at_ = 3;
  }

  std::vector<CsvRow> rows() {
    std::vector<CsvRow> rows;
    while (at_ < text_.size()) {
      if (lineEnds()) {
        endLine();
        continue;
      }
      rows.push_back(row());
    }
    return rows;
  }

 private:
  bool lineEnds() const {
    return at_ == text_.size() || text_[at_] == '\n' || text_.substr(at_, 2) == "\r\n";
  }

  void endLine() {
    if (at_ == text_.size()) return;
    at_ += text_[at_] == '\r' ? 2 : 1;
    ++line_;
  }

  CsvRow row() {
    CsvRow row;
    row.line = line_;
    for (;;) {
      row.fields.push_back(text_.substr(at_, 1) == "\"" ? quoted() : plain());
      if (lineEnds()) break;
      ++at_;  // the comma
    }
    endLine();
    return row;
  }

  std::string plain() {
    const size_t start = at_;
    while (!lineEnds() && text_[at_] != ',') {
      if (text_[at_] == '"') throw wrong("a quote within a field that doesn't begin with one");
      ++at_;
    }
    return std::string(text_.substr(start, at_ - start));
  }

  std::string quoted() {
    std::string value;
    for (++at_;;) {
      const size_t quote = text_.find('"', at_);
      if (quote == std::string_view::npos) throw wrong("a quote that is not closed");
      value += text_.substr(at_, quote - at_);
      at_ = quote + 1;
      if (text_.substr(at_, 1) != "\"") break;
      value += '"';
      ++at_;
    }
    if (!lineEnds() && text_[at_] != ',') throw wrong("text after a closing quote");
    line_ += static_cast<size_t>(std::count(value.begin(), value.end(), '\n'));
    return value;
  }

  std::runtime_error wrong(const std::string& what) const {
    return std::runtime_error("line " + std::to_string(line_) + " has " + what);
  }

  std::string_view text_;
  size_t at_ = 0;
  size_t line_ = 1;
};

}  // namespace

std::vector<CsvRow> parseCsv(std::string_view text) { return Parser(text).rows(); }

std::string csvField(std::string_view value) {
  if (value.find_first_of("\",\r\n") == std::string_view::npos) return std::string(value);
  std::string quoted = "\"";
  for (const char c : value) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + "\"";
}

}  // namespace facefeature_tools
