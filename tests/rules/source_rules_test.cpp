// Patterns that no file of this repository may contain, and flags that every compilation must have.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "rules/repository.h"

namespace facefeature_test {
namespace {

// Each pattern is written so that it does not match its own text.
struct Forbidden {
  const char* pattern;
  const char* why;
};

const Forbidden kForbiddenPlaces[] = {
    {R"((^|[^\w.])/(work|root|Users)/\w)", "a path of one machine"},
    {R"(/tmp/[A-Za-z0-9])", "a path of one machine"},
    {R"(\b[A-Z]:\\Users\b)", "a path of one machine"},
    {R"(https?://[^\s/]*(debian\.org|pypi\.org|npmjs|golang\.org|crates\.io))",
     "the host of a package registry"},
};

const Forbidden kForbiddenLines[] = {
    {R"(^\s*(//|#|\*|/\*)\s*([-=*~#_]\s?){6,})", "a row of signs instead of a paragraph"},
};

const Forbidden kForbiddenFlags[] = {
    {R"(-ffast-mat[h])", "rounds in other places"},
    {R"(-Ofas[t])", "rounds in other places"},
    {R"(-funsafe-math-optimization[s])", "rounds in other places"},
    {R"(-fassociative-mat[h])", "adds in another order"},
    {R"(-march=nativ[e])", "gives other code on other machines"},
    {R"(-ffp-contract=(fas[t]|o[n]\b))", "fuses products and sums"},
    {R"(-mfm[a]\b)", "fuses products and sums"},
    {R"(_MM_SET_FLUSH_ZERO_MOD[E]|_MM_SET_DENORMALS_ZERO_MOD[E])", "flushes denormal numbers"},
};

std::vector<std::string> allTextFiles() {
  std::vector<std::string> paths = textFilesInRoot();
  for (const char* folder :
       {"src", "include", "tools", "tests", "docs", "cmake", "fuzz", "bench", "python", "examples",
        "adapters", "bindings/csharp", "bindings/node/test", ".ci"}) {
    const std::vector<std::string> more = textFilesBelow(folder);
    paths.insert(paths.end(), more.begin(), more.end());
  }
  return paths;
}

template <size_t Count>
void expectNone(const Forbidden (&list)[Count], std::regex::flag_type flags,
                const std::vector<std::string>& paths, const char* leaveOut = "$^") {
  const std::regex leftOut(leaveOut);
  for (const Forbidden& forbidden : list) {
    const std::regex pattern(forbidden.pattern, flags | std::regex::optimize);
    for (const std::string& path : paths) {
      int32_t number = 0;
      for (const std::string& line : linesOfText(fileText(path))) {
        ++number;
        if (std::regex_search(line, leftOut)) continue;
        EXPECT_FALSE(std::regex_search(line, pattern))
            << path << ":" << number << ": " << line << "\n"
            << forbidden.why;
      }
    }
  }
}

// Files that give compilers their flags: build files, presets, scripts.
std::vector<std::string> buildFiles() {
  std::vector<std::string> paths;
  const std::regex wanted(
      R"((.*/)?(CMakeLists\.txt|[^/]*\.cmake|CMakePresets\.json|demo|test|run))");
  for (const std::string& path : allTextFiles()) {
    if (std::regex_match(path, wanted)) paths.push_back(path);
  }
  return paths;
}

TEST(Sources, NameNoPathOutsideOfTheRepository) {
  ASSERT_GT(allTextFiles().size(), 100u);
  expectNone(kForbiddenPlaces, std::regex::ECMAScript, allTextFiles());
}

TEST(Sources, HaveNoRowsOfPunctuation) {
  expectNone(kForbiddenLines, std::regex::ECMAScript, allTextFiles());
}

TEST(Sources, AskForNoFlagThatChangesRounding) {
  ASSERT_GT(buildFiles().size(), 5u);
  // One file has fused multiply-adds, the steps of matrix products, and writes each as an
  // intrinsic. -ffp-contract=off keeps the compiler from making others there too.
  const char* const ignored =
      "^\\s*#|^\\s*set_source_files_properties\\(kernels/kernels_avx2\\.cpp ";
  expectNone(kForbiddenFlags, std::regex::ECMAScript, buildFiles(), ignored);
}

// Differences between systems are handled in src/platform/ and nowhere else.
TEST(Sources, UseTheSystemInOneFolderOnly) {
  const std::regex question(R"(^\s*#.*\b(_WIN32|_WIN64|WIN32|__linux__|__unix__|__APPLE__)\b)");
  bool isAskedThere = false;
  for (const char* folder : {"src", "include"}) {
    for (const std::string& path : textFilesBelow(folder)) {
      for (const std::string& line : linesOfText(fileText(path))) {
        if (!std::regex_search(line, question)) continue;
        EXPECT_EQ(0u, path.find("src/platform/")) << path << ": " << line;
        isAskedThere = true;
      }
    }
  }
  EXPECT_TRUE(isAskedThere) << "the pattern finds nothing";
}

// The lines of a file that match; with `after`, only those after the first line that matches it.
std::vector<std::string> linesLike(const std::filesystem::path& file, const char* pattern,
                                   const char* after = nullptr) {
  std::vector<std::string> found;
  std::ifstream stream(file);
  const std::regex wanted(pattern), opening(after == nullptr ? "" : after);
  bool open = after == nullptr;
  for (std::string line; std::getline(stream, line);) {
    if (after != nullptr && std::regex_search(line, opening)) open = true;
    if (!open || !std::regex_search(line, wanted)) continue;
    found.push_back(line);
    open = after == nullptr;
  }
  return found;
}

// The flags of each compilation of this build, from the compile commands of the build system.
std::vector<std::string> compilations() {
  const std::filesystem::path build = FACEFEATURE_BINARY_DIR;
  std::vector<std::string> found = linesLike(build / "compile_commands.json", "^\\s*\"command\":");
  if (found.empty()) {
    found = linesLike(build / "build.ninja", "^  FLAGS = ", "^build .*: CX?X?_COMPILER__");
  }
  if (found.empty()) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(build)) {
      if (entry.path().filename() != "flags.make") continue;
      const std::vector<std::string> more = linesLike(entry.path(), "^CX?X?_FLAGS = ");
      found.insert(found.end(), more.begin(), more.end());
    }
  }
  return found;
}

TEST(Compilations, AllKeepProductsAndSumsApart) {
  const std::vector<std::string> flags = compilations();
  ASSERT_GT(flags.size(), 3u) << "the build folder doesn't tell how it compiles";
  for (const std::string& line : flags) {
    EXPECT_NE(std::string::npos, line.find("-ffp-contract=off")) << line;
    for (const Forbidden& forbidden : kForbiddenFlags) {
      EXPECT_FALSE(std::regex_search(line, std::regex(forbidden.pattern))) << line << "\n"
                                                                           << forbidden.why;
    }
  }
}

}  // namespace
}  // namespace facefeature_test
