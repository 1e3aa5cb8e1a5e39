// All state that outlives a call is listed in one table of docs/architecture.md. A variable that is
// not listed is an accidental static, shared unnoticed by all engines and threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "rules/command.h"
#include "rules/repository.h"

namespace facefeature_test {
namespace {

// What compilers and the C++ runtime add to a program's variables: the initialiser of the standard
// streams, the guards of function-local variables (the variables themselves are listed), the
// reference to the exception routine, and the notes of sanitizers.
bool belongsToTheRuntime(const std::string& name) {
  static const std::regex runtime(
      R"(std::__ioinit|guard variable for .*|DW\.ref\..*|typeinfo .*|vtable .*|__odr_asan.*|\.L.*)"
      R"(|__asan_.*|__ubsan_.*|_GLOBAL_OFFSET_TABLE_|__gcov.*)");
  return std::regex_match(name, runtime);
}

bool isWritable(const std::string& section) {
  // Constants that hold addresses are written once by the loader and are read-only from then on.
  static const std::regex constant(R"(\.data\.rel\.ro.*)");
  static const std::regex writable(
      R"((\.bss|\.data|\.tbss|\.tdata|\.lbss|\.ldata)(\..*)?|\*COM\*)");
  return std::regex_match(section, writable) && !std::regex_match(section, constant);
}

// "facefeature::(anonymous namespace)::digits[abi:x]" -> "digits".
std::string unqualified(const std::string& name) {
  const size_t offset = name.rfind("::");
  const std::string last = offset == std::string::npos ? name : name.substr(offset + 2);
  return last.substr(0, last.find_first_of("[."));
}

// The writable variables of a library or archive, with their namespaces.
std::set<std::string> writableVariables(const std::string& file) {
  std::set<std::string> names;
  const std::regex symbol(R"(^[0-9a-f]+ .{7} (\S+)\s+[0-9a-f]+ (?:\.hidden |\.internal )?(.+)$)");
  std::smatch match;
  for (const std::string& line : linesOfCommand("objdump -t -C -w " + quoted(file))) {
    if (!std::regex_match(line, match, symbol) || !isWritable(match[1])) continue;
    const std::string name = match[2];
    // Each section has a symbol of its own name.
    if (name == match[1].str() || belongsToTheRuntime(name)) continue;
    names.insert(name);
  }
  return names;
}

// The first column of the table under the heading "Module-wide state".
std::set<std::string> documentedVariables() {
  std::set<std::string> names;
  bool inSection = false;
  const std::regex heading("^#+ .*"), row(R"(^\s*\|([^|]*)\|.*)"), word(R"([A-Za-z_]\w*)");
  std::smatch match;
  size_t rows = 0;
  for (const std::string& line : linesOfText(fileText("docs/architecture.md"))) {
    if (std::regex_match(line, heading)) {
      inSection = line.find("odule-wide state") != std::string::npos;
      rows = 0;
    }
    if (!inSection || !std::regex_match(line, match, row)) continue;
    // The first two rows are the column heads and the line below them.
    if (++rows <= 2) continue;
    const std::string cell = match[1];
    for (std::sregex_iterator each(cell.begin(), cell.end(), word), end; each != end; ++each) {
      names.insert(each->str());
    }
  }
  return names;
}

TEST(ModuleState, IsWhatTheDocumentSays) {
  std::set<std::string> found;
  for (const char* archive : {FACEFEATURE_CORE, FACEFEATURE_GEOMETRY}) {
    for (const std::string& name : writableVariables(archive)) found.insert(unqualified(name));
  }
  EXPECT_EQ(documentedVariables(), found);
}

// The shared library contains the core, the exports, and linked packages with state of their own.
TEST(ModuleState, OfTheSharedLibraryIsThatOfItsCore) {
  const std::set<std::string> documented = documentedVariables();
  std::set<std::string> found;
  for (const std::string& name : writableVariables(FACEFEATURE_LIBRARY)) {
    if (name.find("facefeature::") == std::string::npos) continue;
    EXPECT_EQ(1u, documented.count(unqualified(name))) << name;
    found.insert(unqualified(name));
  }
  if (found.empty()) GTEST_SKIP() << "the library is built without its table of symbols";
  EXPECT_EQ(1u, found.count("patchMeans"));
}

TEST(ModuleState, IsNeverOfOneThread) {
  for (const char* archive : {FACEFEATURE_CORE, FACEFEATURE_GEOMETRY}) {
    for (const std::string& line : linesOfCommand("objdump -h -w " + quoted(archive))) {
      EXPECT_EQ(std::string::npos, line.find(".tbss")) << line;
      EXPECT_EQ(std::string::npos, line.find(".tdata")) << line;
    }
  }
}

}  // namespace
}  // namespace facefeature_test
