// Which file of src/ may include which.
//
// Folders can't be layered: a convolution layer (kernels/) is a layer (net/), a neuron (net/) works
// on a matrix (kernels/), weight files (net/) lie in the model folder (engine/), a sample
// (geometry/) is taken less its mean (engine/). Files can. A file includes files of its own level
// and of those below it, never of one above; a new file finds its level by the first rule that fits
// its path.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "rules/repository.h"

namespace facefeature_test {
namespace {

struct LevelRule {
  int32_t level;
  const char* paths;  // a regular expression for the whole path below src/
};

const LevelRule kLevels[] = {
    // The public header, which stands below include/.
    {0, R"(facefeature/facefeature\.h)"},
    // What asks nobody: the operating system, tables, records.
    {1, R"(platform/.*)"},
    {1, R"(geometry/(landmark_set|truncate|patch_table|model_points)\..*)"},
    // The whole net is built from the layers' point of view: they hold a pointer to their net and
    // reach the layers ahead of them through it. Only the factory knows what kinds there are.
    {4, R"(net/conv_net\.h)"},
    {6, R"(net/(conv_net|layer_factory)\..*)"},
    // Layers that compute, on top of the graph of net/.
    {5, R"(kernels/.*_layers?\..*)"},
    // Numbers alone: not a word about layers or texts.
    {2, R"(kernels/.*)"},
    // Pixels and rows by plain pointers, wherever they are used. The set of kernels names the forms
    // of the projection and so must see them.
    {2, R"(engine/project_rows\..*)"},
    {2, R"(geometry/(gray_image|face_warp|patch_frames)\..*)"},
    // Net texts, and where the trained numbers come from.
    {3, R"(config/.*)"},
    {3, R"(engine/model_(directory|files|state)\..*)"},
    // The graph, its activation functions, its trained parameters.
    {4, R"(net/.*)"},
    // From a picture to patch matrices. The engine's record is here for its two scratch faces.
    {6, R"(geometry/.*|engine/feature_engine\.h)"},
    // The road of a request, and the exports.
    {7, R"(engine/.*)"},
};

int32_t levelOf(const std::string& path) {
  for (const LevelRule& rule : kLevels) {
    if (std::regex_match(path, std::regex(rule.paths))) return rule.level;
  }
  return -1;
}

// The paths between quotes, as they stand.
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

TEST(Includes, EveryFileHasALevel) {
  ASSERT_GT(sources().size(), 50u);
  for (const auto& [path, text] : sources()) EXPECT_GE(levelOf(path), 1) << path;
}

TEST(Includes, NoneGoesUp) {
  for (const auto& [path, text] : sources()) {
    for (const std::string& included : quotedIncludes(text)) {
      EXPECT_LE(levelOf(included), levelOf(path)) << path << " includes " << included;
    }
  }
}

TEST(Includes, NameFilesByTheirPathBelowTheSourceFolder) {
  for (const auto& [path, text] : sources()) {
    for (const std::string& included : quotedIncludes(text)) {
      if (included == "facefeature/facefeature.h") continue;
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

// So that a package can be exchanged in one place, and that no one calls a fourth routine of it.
TEST(Includes, OnlyOneHeaderKnowsThePackageForMatrices) {
  for (const auto& [path, text] : sources()) {
    for (const std::string& included : systemIncludes(text)) {
      const bool isPackage = included.find("blas") != std::string::npos;
      EXPECT_TRUE(!isPackage || path == "kernels/blas.h") << path << " includes " << included;
    }
    for (const std::string& included : quotedIncludes(text)) {
      EXPECT_NE("cblas.h", included) << path;
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

// The headers of intrinsics that a file includes. A guarded one stands within a condition on the
// instruction set that it needs, so that other machines compile the file without it.
struct IntrinsicsInclude {
  std::string header;
  bool isGuarded;
};

std::vector<IntrinsicsInclude> intrinsicsIncludes(const std::string& text) {
  const std::regex feature(R"(.*\b(__SSE2__|_M_X64|__AVX2__|__ARM_NEON)\b.*)");
  const std::regex opening(R"(^\s*#\s*if.*)"), otherwise(R"(^\s*#\s*el.*)"),
      closing(R"(^\s*#\s*endif.*)");
  std::vector<IntrinsicsInclude> found;
  std::vector<bool> conditions;  // the open ones, and whether each names an instruction set
  for (const std::string& line : linesOfText(text)) {
    if (std::regex_match(line, opening)) conditions.push_back(std::regex_match(line, feature));
    if (std::regex_match(line, otherwise) && !conditions.empty()) conditions.back() = false;
    if (std::regex_match(line, closing) && !conditions.empty()) conditions.pop_back();
    for (const std::string& header : systemIncludes(line)) {
      if (!endsWith(header, "intrin.h") && header != "arm_neon.h") continue;
      const bool guarded = std::count(conditions.begin(), conditions.end(), true) > 0;
      found.push_back({header, guarded});
    }
  }
  return found;
}

// SSE2 belongs to every x86-64 machine: a source file may use it beside its plain form, behind a
// guard. Code for an instruction set that not every such machine has stays in files that say so.
bool mayInclude(const std::string& path, const IntrinsicsInclude& included) {
  if (endsWith(path, "_avx2.cpp")) return true;
  const bool isBaseline = included.header == "emmintrin.h" || included.header == "xmmintrin.h";
  return endsWith(path, ".cpp") && isBaseline && included.isGuarded;
}

TEST(Includes, OfIntrinsicsAreGuardedBaselineOnesOrInFilesOfAnInstructionSet) {
  for (const auto& [path, text] : sources()) {
    for (const IntrinsicsInclude& included : intrinsicsIncludes(text)) {
      EXPECT_TRUE(mayInclude(path, included)) << path << " includes " << included.header;
    }
  }
}

TEST(Includes, ARuleForIntrinsicsCatchesAnUnguardedOne) {
  const std::string bare = "#if defined(_WIN32)\n#include <emmintrin.h>\n#endif\n";
  const std::string behind = "#if defined(__SSE2__)\n#endif\n#include <emmintrin.h>\n";
  const std::string otherwise = "#ifdef __SSE2__\n#else\n#include <emmintrin.h>\n#endif\n";
  for (const std::string& text : {bare, behind, otherwise}) {
    ASSERT_EQ(1u, intrinsicsIncludes(text).size());
    EXPECT_FALSE(mayInclude("engine/project_rows.cpp", intrinsicsIncludes(text)[0])) << text;
  }
  const std::string guarded = "#if defined(__SSE2__)\n# include <emmintrin.h>\n#endif\n";
  ASSERT_EQ(1u, intrinsicsIncludes(guarded).size());
  EXPECT_TRUE(mayInclude("engine/project_rows.cpp", intrinsicsIncludes(guarded)[0]));
  EXPECT_FALSE(mayInclude("engine/project_rows.h", intrinsicsIncludes(guarded)[0]));
  const std::string wide = "#if defined(__AVX2__)\n#include <immintrin.h>\n#endif\n";
  EXPECT_FALSE(mayInclude("kernels/unfold.cpp", intrinsicsIncludes(wide)[0]));
  EXPECT_TRUE(mayInclude("kernels/unfold_avx2.cpp", intrinsicsIncludes(wide)[0]));
}

TEST(Includes, ATableOfLevelsCatchesAnUpwardEdge) {
  EXPECT_LT(levelOf("kernels/matrix.h"), levelOf("net/layer.h"));
  EXPECT_LT(levelOf("net/layer.h"), levelOf("kernels/conv_layer.h"));
  EXPECT_LT(levelOf("kernels/softmax_layer.h"), levelOf("net/layer_factory.cpp"));
  EXPECT_LT(levelOf("geometry/patch_table.h"), levelOf("engine/model_state.h"));
  EXPECT_LT(levelOf("geometry/patch_sampling.h"), levelOf("engine/extract_feature.cpp"));
  EXPECT_LT(levelOf("geometry/truncate.h"), levelOf("geometry/face_warp.cpp"));
  EXPECT_LT(levelOf("engine/project_rows.h"), levelOf("engine/model_state.h"));
  EXPECT_EQ(-1, levelOf("elsewhere/file.h"));
}

}  // namespace
}  // namespace facefeature_test
