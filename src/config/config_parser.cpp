#include "config/config_parser.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "config/config_order.h"

namespace facefeature {
namespace {

constexpr uint32_t kFirstBytes = 64;     // of the assembly buffer and of a header's name
constexpr uint32_t kFirstEntries = 8;    // of the entry list
constexpr uint32_t kFirstSections = 16;  // of the section list

// [STATE] Scratch data of the current parse; holds no memory between parses. One parse at a time.
// The entry being read: its key, a NUL, and its values.
std::vector<char> assembly;
// The entries of the section being read, in order; one list serves all sections in turn.
std::vector<const char*> entryList;

void makeScratch() {
  assembly.reserve(kFirstBytes);
  entryList.reserve(kFirstEntries);
}

void freeScratch() {
  std::vector<char>().swap(assembly);
  std::vector<const char*>().swap(entryList);
}

bool isWhite(char byte) { return byte == '\t' || byte == ' '; }
bool endsLine(char byte) { return byte == '\r' || byte == '\n'; }

// The five readers share one cursor. What each does with a byte ("stay" leaves the cursor at the
// byte, "line" skips the rest of the line):
//
//              | key reader     | value reader | header test | header reader | header scanner
//   NUL        | drop key, stay | end, stay    | none, stay  | none, stay    | none, stay
//   tab, blank | ignore         | ignore       | skip        | ignore        | skip
//   CR, LF, ;  | drop key, line | end, line    | none, line  | none, line    | none, line
//   =          | end of key (1) | store        | skip        | store         | skip
//   [          | header (1)     | store        | skip        | store         | to header reader
//   ]          | store          | store        | a header    | end of name   | skip
//   comma      | store          | new value    | skip        | store         | skip
//   any other  | store          | store        | skip        | store         | skip
//
// (1) An equals sign after an empty key drops the line. A header drops the key before it.
//
// So white space is removed everywhere, a semicolon starts a comment anywhere on a line, and there
// are no quotes, escapes or continued lines. Nothing is ever reported: a line that does not fit is
// dropped.
class Parser {
 public:
  explicit Parser(const char* text) : cursor_(text) {}

  bool atEnd() const { return *cursor_ == '\0'; }

  // Reads lines up to the next header or the end into the entries of a new section, owned by the
  // caller.
  ConfigSection* readSection(const std::string& name, ConfigPool& pool);

  // Scans for a header and reads its name, starting at the cursor: usually at the bracket that the
  // header test has accepted. After a header with an empty name it works line by line and so skips
  // everything up to the next left bracket. Returns an empty name if the line has no header.
  std::string readHeader();

 private:
  enum class KeyResult { kKey, kHeader, kNone };

  KeyResult readKey();
  bool readValue();
  bool testHeader();
  void skipLine();

  // Returns true, with the cursor after the rest of the line, at a byte that ends the content of a
  // line. At the NUL the cursor stays.
  bool endLine();

  const char* cursor_;
};

void Parser::skipLine() {
  while (!atEnd() && !endsLine(*cursor_)) ++cursor_;
  // Skips a run of empty lines in one step.
  while (endsLine(*cursor_)) ++cursor_;
}

bool Parser::endLine() {
  if (!atEnd() && !endsLine(*cursor_) && *cursor_ != ';') return false;
  skipLine();
  return true;
}

Parser::KeyResult Parser::readKey() {
  while (!endLine()) {
    if (*cursor_ == '[') return KeyResult::kHeader;
    if (*cursor_ == '=') {
      if (assembly.empty()) {
        skipLine();
        return KeyResult::kNone;
      }
      ++cursor_;
      return KeyResult::kKey;
    }
    if (!isWhite(*cursor_)) assembly.push_back(*cursor_);
    ++cursor_;
  }
  return KeyResult::kNone;
}

bool Parser::readValue() {
  const size_t start = assembly.size();
  while (!endLine()) {
    // A comma stores the NUL that starts a new value, so "a=," has a value and "a=" has none.
    if (!isWhite(*cursor_)) assembly.push_back(*cursor_ == ',' ? '\0' : *cursor_);
    ++cursor_;
  }
  return assembly.size() > start;
}

bool Parser::testHeader() {
  const char* bracket = cursor_;
  ++cursor_;
  while (!endLine()) {
    if (*cursor_ == ']') {
      cursor_ = bracket;
      return true;
    }
    ++cursor_;
  }
  return false;
}

std::string Parser::readHeader() {
  while (*cursor_ != '[') {
    if (endLine()) return std::string();
    ++cursor_;
  }
  ++cursor_;
  std::string name;
  name.reserve(kFirstBytes);
  while (!endLine()) {
    if (*cursor_ == ']') {
      skipLine();
      return name;
    }
    if (!isWhite(*cursor_)) name.push_back(*cursor_);
    ++cursor_;
  }
  return std::string();
}

const char* copyToPool(const char* bytes, size_t length, ConfigPool& pool) {
  char* copy = pool.allocate(static_cast<uint32_t>(length));
  std::memcpy(copy, bytes, length);
  return copy;
}

ConfigSection* Parser::readSection(const std::string& name, ConfigPool& pool) {
  std::unique_ptr<ConfigSection> section(new ConfigSection{nullptr, 0, nullptr, &pool, -1});
  section->name = copyToPool(name.c_str(), name.size() + 1, pool);
  entryList.clear();
  while (!atEnd()) {
    assembly.clear();
    const KeyResult result = readKey();
    if (result == KeyResult::kHeader) {
      if (testHeader()) break;
      continue;
    }
    if (result == KeyResult::kNone) continue;
    assembly.push_back('\0');
    // An empty value makes no entry; an earlier one with the same key is unchanged.
    if (!readValue()) continue;
    assembly.insert(assembly.end(), 2, '\0');
    entryList.push_back(nullptr);
    insertSorted(entryList.data(), section->entryCount,
                 copyToPool(assembly.data(), assembly.size(), pool));
    ++section->entryCount;
  }
  section->entries = new const char*[section->entryCount];
  std::copy(entryList.begin(), entryList.end(), section->entries);
  return section.release();
}

// Inserts one more section in order. A parse that runs out of memory leaks what it has read.
void addSection(std::vector<ConfigSection*>& list, ConfigSection* section) {
  const uint32_t count = static_cast<uint32_t>(list.size());
  list.push_back(nullptr);
  insertSorted(list.data(), count, section);
}

}  // namespace

void parseSections(const char* text, ConfigDocument& document) {
  makeScratch();
  std::vector<ConfigSection*> list;
  list.reserve(kFirstSections);

  // Entries before the first header belong to a section that always exists.
  Parser parser(text);
  addSection(list, parser.readSection("[DEFAULT]", *document.pool));
  while (!parser.atEnd()) {
    const std::string name = parser.readHeader();
    if (!name.empty()) addSection(list, parser.readSection(name, *document.pool));
  }
  document.sections = new ConfigSection*[list.size()];
  std::copy(list.begin(), list.end(), document.sections);
  document.sectionCount = static_cast<uint32_t>(list.size());
  freeScratch();
}

}  // namespace facefeature
