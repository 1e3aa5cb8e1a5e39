// What the two shared libraries export, and what they import.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "rules/command.h"
#include "rules/repository.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {
namespace {

struct SharedLibrary {
  std::string path;
  std::string soname;
  std::string lists;  // of exports, without the ending
  std::vector<std::string> exports;
};

const std::vector<SharedLibrary>& libraries() {
  static const std::vector<SharedLibrary> both = {
      {FACEFEATURE_LIBRARY,
       "libfacefeature.so.1",
       "src/engine/exports",
       {"CreateFeatureEngine", "ExtractFeature", "CompareFeatures", "DestroyFeatureEngine"}},
      {FACEFEATURE_BATCH_LIBRARY,
       "libfacefeature_batch.so.1",
       "src/engine/batch_exports",
       {"FaceBatchVersion", "CreateFaceBatch", "PutFaceInBatch", "ExtractFaceBatch",
        "DestroyFaceBatch"}}};
  return both;
}

std::set<std::string> asSet(const std::vector<std::string>& names) {
  return {names.begin(), names.end()};
}

std::vector<std::string> dynamicSection(const SharedLibrary& library) {
  return linesOfCommand("readelf -dW " + quoted(library.path));
}

std::set<std::string> neededLibraries(const SharedLibrary& library) {
  std::set<std::string> names;
  const std::regex needed(R"(\(NEEDED\).*\[(.*)\])");
  std::smatch match;
  for (const std::string& line : dynamicSection(library)) {
    if (std::regex_search(line, match, needed)) names.insert(match[1]);
  }
  return names;
}

// Every defined dynamic symbol is checked: an exported weak template function could replace the
// host's own.
TEST(Exports, AreTheFunctionsOfTheHeaderAndNothingElse) {
  for (const SharedLibrary& library : libraries()) {
    SCOPED_TRACE(library.soname);
    std::set<std::string> functions, others;
    const std::regex symbol(R"(^[0-9a-f]+ (\S) ([^@\s]+)(@.*)?$)");
    std::smatch match;
    for (const std::string& line : linesOfCommand("nm -D --defined-only " + quoted(library.path))) {
      ASSERT_TRUE(std::regex_match(line, match, symbol)) << line;
      (match[1] == "T" ? functions : others).insert(match[2]);
    }
    EXPECT_EQ(asSet(library.exports), functions);
    EXPECT_EQ(std::set<std::string>{}, others);
  }
}

// The libraries need no package of other authors at run time.
TEST(Dependencies, AreTheRuntimesOfTheCompilerAndNoOtherPackage) {
  const std::regex runtime(
      R"((libstdc\+\+|libgcc_s|libgomp|libomp|libm|libc|libpthread|libdl|libasan|libubsan|)"
      R"(libclang_rt\S*|ld-linux\S*)\.so.*)");
  for (const SharedLibrary& library : libraries()) {
    for (const std::string& name : neededLibraries(library)) {
      EXPECT_TRUE(std::regex_match(name, runtime)) << library.soname << " needs " << name;
    }
  }
}

TEST(Dependencies, IncludeTheOpenMpRuntimeOnce) {
  for (const SharedLibrary& library : libraries()) {
    int32_t runtimes = 0;
    for (const std::string& name : neededLibraries(library)) {
      if (name.find("omp") != std::string::npos) ++runtimes;
    }
    EXPECT_EQ(1, runtimes) << library.soname;
  }
}

TEST(SharedLibraries, AreNamedForTheirFirstInterface) {
  for (const SharedLibrary& library : libraries()) {
    bool named = false;
    for (const std::string& line : dynamicSection(library)) {
      if (line.find("(SONAME)") == std::string::npos) continue;
      named = line.find("[" + library.soname + "]") != std::string::npos;
    }
    EXPECT_TRUE(named) << library.soname;
  }
}

TEST(SharedLibraries, AreSmallerThanOneAndAHalfMegabytes) {
  for (const SharedLibrary& library : libraries()) {
    const std::string stripped = privateTempFolder() + "/stripped";
    const CommandResult result =
        runCommand("strip -o " + quoted(stripped) + " " + quoted(library.path));
    ASSERT_EQ(0, result.exitStatus) << result.output;
    EXPECT_GT(std::filesystem::file_size(stripped), 100000u) << library.soname;
    EXPECT_LT(std::filesystem::file_size(stripped), 1500000u) << library.soname;
  }
}

// One assembler file without a stack note would make all stacks of the host executable.
TEST(SharedLibraries, AskForNoExecutableStack) {
  for (const SharedLibrary& library : libraries()) {
    size_t notes = 0;
    for (const std::string& line : linesOfCommand("readelf -lW " + quoted(library.path))) {
      if (line.find("GNU_STACK") == std::string::npos) continue;
      ++notes;
      EXPECT_EQ(std::string::npos, line.find("RWE")) << library.soname << ": " << line;
    }
    EXPECT_EQ(1u, notes) << library.soname << ": no note means an executable stack";
  }
}

// The lists are maintained by hand.
TEST(ExportLists, NameTheFunctions) {
  for (const SharedLibrary& library : libraries()) {
    const std::string map = fileText(library.lists + ".map");
    std::set<std::string> named;
    const std::regex word("[A-Z][A-Za-z]+(?=;)");
    for (std::sregex_iterator match(map.begin(), map.end(), word), end; match != end; ++match) {
      named.insert(match->str());
    }
    EXPECT_EQ(asSet(library.exports), named);
    EXPECT_TRUE(std::regex_search(map, std::regex(R"(local:\s*\*;)"))) << library.soname;
  }
}

// On Windows, the first library is bound by ordinal, and the batch library by name.
TEST(ExportLists, BindTheOrdinalsAndHideTheNamesOnWindows) {
  const SharedLibrary& library = libraries()[0];
  const std::string list = fileText(library.lists + ".def");
  for (size_t i = 0; i < library.exports.size(); ++i) {
    const std::regex entry("(^|\n)\\s*" + library.exports[i] + "\\s+@" + std::to_string(i + 1) +
                           "\\s+NONAME\\s*(;[^\n]*)?(\n|$)");
    EXPECT_TRUE(std::regex_search(list, entry)) << library.exports[i];
  }
  EXPECT_EQ(4, std::count(list.begin(), list.end(), '@'));
}

TEST(ExportLists, BindTheNamesOfTheBatchLibraryOnWindows) {
  std::string wanted = "EXPORTS\n";
  for (const std::string& name : libraries()[1].exports) wanted += "  " + name + "\n";
  EXPECT_EQ(wanted, fileText(libraries()[1].lists + ".def"));
}

}  // namespace
}  // namespace facefeature_test
