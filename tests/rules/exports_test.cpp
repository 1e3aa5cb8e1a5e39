// What the shared library exports, and what it imports.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "rules/command.h"
#include "rules/repository.h"

namespace facefeature_test {
namespace {

const std::string kLibrary = quoted(FACEFEATURE_LIBRARY);

const std::set<std::string> kExports = {"CompareFeatures", "CreateFeatureEngine",
                                        "DestroyFeatureEngine", "ExtractFeature"};

std::set<std::string> neededLibraries() {
  std::set<std::string> names;
  const std::regex needed(R"(\(NEEDED\).*\[(.*)\])");
  std::smatch match;
  for (const std::string& line : linesOfCommand("readelf -dW " + kLibrary)) {
    if (std::regex_search(line, match, needed)) names.insert(match[1]);
  }
  return names;
}

// Every defined dynamic symbol is checked: an exported weak template function could replace the
// host's own.
TEST(Exports, AreTheFourFunctionsAndNothingElse) {
  std::set<std::string> functions, others;
  const std::regex symbol(R"(^[0-9a-f]+ (\S) ([^@\s]+)(@.*)?$)");
  std::smatch match;
  for (const std::string& line : linesOfCommand("nm -D --defined-only " + kLibrary)) {
    ASSERT_TRUE(std::regex_match(line, match, symbol)) << line;
    (match[1] == "T" ? functions : others).insert(match[2]);
  }
  EXPECT_EQ(kExports, functions);
  EXPECT_EQ(std::set<std::string>{}, others);
}

// The library needs no package of other authors at run time.
TEST(Dependencies, AreTheRuntimesOfTheCompilerAndNoOtherPackage) {
  const std::regex runtime(
      R"((libstdc\+\+|libgcc_s|libgomp|libomp|libm|libc|libpthread|libdl|libasan|libubsan|)"
      R"(libclang_rt\S*|ld-linux\S*)\.so.*)");
  for (const std::string& name : neededLibraries()) {
    EXPECT_TRUE(std::regex_match(name, runtime)) << name;
  }
}

TEST(Dependencies, IncludeTheOpenMpRuntimeOnce) {
  int32_t runtimes = 0;
  for (const std::string& name : neededLibraries()) {
    if (name.find("omp") != std::string::npos) ++runtimes;
  }
  EXPECT_EQ(1, runtimes);
}

TEST(SharedLibrary, IsNamedForItsFirstInterface) {
  bool named = false;
  for (const std::string& line : linesOfCommand("readelf -dW " + kLibrary)) {
    if (line.find("(SONAME)") == std::string::npos) continue;
    named = line.find("[libfacefeature.so.1]") != std::string::npos;
  }
  EXPECT_TRUE(named);
}

// One assembler file without a stack note would make all stacks of the host executable.
TEST(SharedLibrary, AsksForNoExecutableStack) {
  for (const std::string& line : linesOfCommand("readelf -lW " + kLibrary)) {
    if (line.find("GNU_STACK") == std::string::npos) continue;
    EXPECT_EQ(std::string::npos, line.find("RWE")) << line;
    return;
  }
  ADD_FAILURE() << "nothing is said about the stack, which means an executable one";
}

// On ELF the names are the contract, on Windows the ordinals. Both lists are maintained by hand.
TEST(ExportLists, NameTheFourFunctions) {
  const std::string map = fileText("src/engine/exports.map");
  std::set<std::string> named;
  const std::regex word("[A-Z][A-Za-z]+(?=;)");
  for (std::sregex_iterator match(map.begin(), map.end(), word), end; match != end; ++match) {
    named.insert(match->str());
  }
  EXPECT_EQ(kExports, named);
  EXPECT_TRUE(std::regex_search(map, std::regex(R"(local:\s*\*;)")));
}

TEST(ExportLists, BindTheOrdinalsAndHideTheNamesOnWindows) {
  const std::string list = fileText("src/engine/exports.def");
  const char* const kByOrdinal[] = {"CreateFeatureEngine", "ExtractFeature", "CompareFeatures",
                                    "DestroyFeatureEngine"};
  for (int32_t ordinal = 1; ordinal <= 4; ++ordinal) {
    const std::string name = kByOrdinal[ordinal - 1];
    const std::regex entry("(^|\n)\\s*" + name + "\\s+@" + std::to_string(ordinal) +
                           "\\s+NONAME\\s*(;[^\n]*)?(\n|$)");
    EXPECT_TRUE(std::regex_search(list, entry)) << name;
  }
  const auto numbers = std::count(list.begin(), list.end(), '@');
  EXPECT_EQ(4, numbers);
}

}  // namespace
}  // namespace facefeature_test
