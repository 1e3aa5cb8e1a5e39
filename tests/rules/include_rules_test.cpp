// Which folder of src/ may include which.
//
// Three floors: {platform, config, kernels} < {net, geometry} < {layers, engine}. A folder includes
// its own files and those of the folders in its line; docs/architecture.md has the same lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "rules/include_table.h"
#include "rules/repository.h"

namespace facefeature_test {
namespace {

// "facefeature" is include/facefeature, the public headers.
const std::map<std::string, std::set<std::string>> kMayInclude = {
    {"platform", {}},
    {"config", {}},
    {"kernels", {"platform"}},
    {"net", {"config", "kernels"}},
    {"geometry", {"facefeature", "kernels"}},
    {"layers", {"platform", "config", "kernels", "net"}},
    {"engine", {"facefeature", "platform", "kernels", "net", "geometry"}},
};

std::string folderOf(const std::string& path) { return path.substr(0, path.find('/')); }

bool mayInclude(const std::string& path, const std::string& included) {
  const auto line = kMayInclude.find(folderOf(path));
  if (line == kMayInclude.end()) return false;
  return folderOf(path) == folderOf(included) || line->second.count(folderOf(included)) != 0;
}

// The paths between quotes, unchanged.
std::vector<std::string> quotedIncludes(const std::string& text) {
  std::vector<std::string> paths;
  const std::regex include("^\\s*#\\s*include\\s*\"([^\"]*)\".*");
  std::smatch match;
  for (const std::string& line : linesOfText(text)) {
    if (std::regex_match(line, match, include)) paths.push_back(match[1]);
  }
  return paths;
}

std::vector<std::string> systemIncludes(const std::string& text) {
  std::vector<std::string> paths;
  const std::regex include(R"(^\s*#\s*include\s*<([^>]*)>.*)");
  std::smatch match;
  for (const std::string& line : linesOfText(text)) {
    if (std::regex_match(line, match, include)) paths.push_back(match[1]);
  }
  return paths;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// Path below src/ -> text, of everything that a compiler reads.
const std::map<std::string, std::string>& sources() {
  static const std::map<std::string, std::string> files = [] {
    std::map<std::string, std::string> found;
    for (const std::string& path : textFilesBelow("src")) {
      if (!std::regex_match(path, std::regex(R"(.*\.(h|cpp|inc|c))"))) continue;
      found[path.substr(4)] = fileText(path);
    }
    return found;
  }();
  return files;
}

TEST(Includes, EveryFileIsInAFolderWithALine) {
  ASSERT_GT(sources().size(), 50u);
  for (const auto& [path, text] : sources()) {
    EXPECT_EQ(1u, kMayInclude.count(folderOf(path))) << path;
  }
}

TEST(Includes, StayWithinTheLineOfTheFolder) {
  for (const auto& [path, text] : sources()) {
    for (const std::string& included : quotedIncludes(text)) {
      EXPECT_TRUE(mayInclude(path, included)) << path << " includes " << included;
    }
  }
}

// Follows the lines from a folder. Returns true if they lead back to it.
bool reaches(const std::string& from, const std::string& folder) {
  const auto line = kMayInclude.find(from);
  if (line == kMayInclude.end()) return false;
  return std::any_of(line->second.begin(), line->second.end(), [&](const std::string& next) {
    return next == folder || reaches(next, folder);
  });
}

TEST(Includes, OfFoldersMakeNoCircle) {
  for (const auto& [folder, included] : kMayInclude)
    EXPECT_FALSE(reaches(folder, folder)) << folder;
}

TEST(Includes, LinesAreThoseOfTheDocument) {
  std::map<std::string, std::set<std::string>> lines = kMayInclude;
  for (auto& [name, folders] : lines) folders.erase("facefeature");
  EXPECT_EQ(lines, documentedIncludes("The folders are layers"));
}

TEST(Includes, NameFilesByTheirPathBelowTheSourceFolder) {
  for (const auto& [path, text] : sources()) {
    for (const std::string& included : quotedIncludes(text)) {
      if (included == "facefeature/facefeature.h" || included == "facefeature/batch.h") continue;
      EXPECT_EQ(1u, sources().count(included)) << path << " includes " << included;
    }
  }
}

TEST(Includes, OfHeadersMakeNoCircle) {
  std::set<std::string> finished, open;
  const std::function<void(const std::string&)> visit = [&](const std::string& path) {
    if (finished.count(path) != 0 || sources().count(path) == 0) return;
    EXPECT_TRUE(open.insert(path).second) << path << " includes itself";
    if (HasFailure()) return;
    for (const std::string& included : quotedIncludes(sources().at(path))) visit(included);
    open.erase(path);
    finished.insert(path);
  };
  for (const auto& [path, text] : sources()) visit(path);
}

// The order of every sum is the library's own.
TEST(Includes, NoPackageForMatricesIsIncluded) {
  for (const auto& [path, text] : sources()) {
    for (const std::string& included : systemIncludes(text)) {
      EXPECT_EQ(std::string::npos, included.find("blas")) << path << " includes " << included;
    }
  }
}

TEST(Includes, OnlyThePlatformFolderKnowsTheOperatingSystem) {
  const std::regex system(R"(windows\.h|unistd\.h|fcntl\.h|dlfcn\.h|sys/.*|pthread\.h)");
  for (const auto& [path, text] : sources()) {
    if (path.compare(0, 9, "platform/") == 0) continue;
    for (const std::string& included : systemIncludes(text)) {
      EXPECT_FALSE(std::regex_match(included, system)) << path << " includes " << included;
    }
  }
}

// Only a file named after its instruction set uses intrinsics: a machine without the set then runs
// nothing of the file, and the compiler options of the set apply to no other code.
bool mayUseIntrinsics(const std::string& path, const std::string& header) {
  // The detection of the processor's instruction sets.
  if (header == "intrin.h") return path == "platform/processor.cpp";
  const std::map<std::string, std::set<std::string>> headers = {
      {"_sse2", {"emmintrin.h"}},
      {"_avx2", {"immintrin.h"}},
      {"_avx512", {"immintrin.h"}},
      {"_neon", {"arm_neon.h"}},
  };
  return std::any_of(headers.begin(), headers.end(), [&](const auto& set) {
    return endsWith(path, set.first + ".cpp") && set.second.count(header) != 0;
  });
}

bool isOfIntrinsics(const std::string& header) {
  return endsWith(header, "intrin.h") || header == "arm_neon.h";
}

TEST(Includes, OfIntrinsicsAreInFilesNamedAfterTheirInstructionSet) {
  size_t found = 0;
  for (const auto& [path, text] : sources()) {
    for (const std::string& header : systemIncludes(text)) {
      if (!isOfIntrinsics(header)) continue;
      ++found;
      EXPECT_TRUE(mayUseIntrinsics(path, header)) << path << " includes " << header;
    }
  }
  EXPECT_LT(0u, found);
}

TEST(Includes, ARuleForIntrinsicsCatchesThemElsewhere) {
  EXPECT_TRUE(isOfIntrinsics("emmintrin.h") && isOfIntrinsics("arm_neon.h"));
  EXPECT_TRUE(mayUseIntrinsics("kernels/unfold_sse2.cpp", "emmintrin.h"));
  EXPECT_TRUE(mayUseIntrinsics("kernels/unfold_avx512.cpp", "immintrin.h"));
  EXPECT_TRUE(mayUseIntrinsics("kernels/unfold_neon.cpp", "arm_neon.h"));
  EXPECT_FALSE(mayUseIntrinsics("kernels/unfold.cpp", "emmintrin.h"));
  EXPECT_FALSE(mayUseIntrinsics("kernels/unfold_avx2.h", "immintrin.h"));
  EXPECT_FALSE(mayUseIntrinsics("kernels/unfold_sse2.cpp", "immintrin.h"));
  EXPECT_FALSE(mayUseIntrinsics("kernels/unfold_neon.cpp", "immintrin.h"));
}

TEST(Includes, ARuleForFoldersCatchesAnUpwardInclude) {
  EXPECT_FALSE(mayInclude("net/layer.cpp", "layers/conv_layer.h"));
  EXPECT_FALSE(mayInclude("kernels/multiply.cpp", "net/layer.h"));
  EXPECT_FALSE(mayInclude("geometry/patch_sampling.cpp", "engine/model_state.h"));
  EXPECT_FALSE(mayInclude("elsewhere/file.cpp", "kernels/matrix.h"));
  EXPECT_TRUE(mayInclude("layers/conv_layer.h", "net/layer.h"));
  EXPECT_TRUE(mayInclude("engine/extract_feature.cpp", "geometry/landmark_set.h"));
}

}  // namespace
}  // namespace facefeature_test
