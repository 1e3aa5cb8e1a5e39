#include "model/model_files.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace facefeature_test {
namespace {

using facefeature_tools::ModelFile;
using facefeature_tools::modelFiles;

const ModelFile& file(const std::string& name) {
  for (const ModelFile& candidate : modelFiles()) {
    if (candidate.name == name) return candidate;
  }
  throw std::runtime_error("no model file " + name);
}

void expectShape(const std::string& name, int32_t rows, int32_t cols, size_t bytes) {
  EXPECT_EQ(rows, file(name).rows) << name;
  EXPECT_EQ(cols, file(name).cols) << name;
  EXPECT_EQ(bytes, file(name).bytes()) << name;
}

bool isColour(int net) {
  for (const int colour : {1, 2, 3, 5, 8, 11, 14, 17, 19, 21, 23, 25}) {
    if (net == colour) return true;
  }
  return false;
}

TEST(ModelFiles, Are303WithUniqueNames) {
  std::set<std::string> names;
  for (const ModelFile& each : modelFiles()) names.insert(each.name);
  EXPECT_EQ(303u, modelFiles().size());
  EXPECT_EQ(303u, names.size());
}

TEST(ModelFiles, PatchMeansHaveTheLengthOfTheirSample) {
  for (int net = 1; net <= 25; ++net) {
    const int32_t side = net <= 2 ? 55 : 47;
    const int32_t floats = side * side * (isColour(net) ? 3 : 1);
    expectShape("0-" + std::to_string(net) + "-0", floats, 1, 4 + 4 * static_cast<size_t>(floats));
  }
  EXPECT_EQ(9075, file("0-1-0").rows);
  EXPECT_EQ(6627, file("0-3-0").rows);
  EXPECT_EQ(2209, file("0-4-0").rows);
}

TEST(ModelFiles, ProjectionsHaveNoHeader) {
  EXPECT_EQ(32000u, file("6-0").bytes());
  EXPECT_EQ(16000000u, file("6-1").bytes());
  EXPECT_EQ(16000000u, file("6-2").bytes());
}

TEST(ModelFiles, LayersOfEveryNetHaveTheShapesThatTheNetsNeed) {
  for (int net = 1; net <= 25; ++net) {
    const std::string n = "-" + std::to_string(net) + "-";
    const int32_t channels = isColour(net) ? 3 : 1;
    const bool large = net <= 2;
    expectShape("1" + n + "1", 16 * channels, 16, 8 + 1024 * static_cast<size_t>(channels));
    expectShape("1" + n + "2", 16, 1, 72);
    expectShape("2" + n + "1", 144, 32, 18440);
    expectShape("2" + n + "2", 32, 1, 136);
    expectShape("3" + n + "1", 288, 48, 55304);
    expectShape("3" + n + "2", 48, 1, 200);
    expectShape("4" + n + "1", 192, 64, 49160);
    expectShape("4" + n + "2", 64, 1, 264);
    expectShape("5" + n + "1", large ? 1024 : 576, 160, large ? 655368 : 368648);
    expectShape("5" + n + "2", large ? 1200 : 768, 160, large ? 768008 : 491528);
    expectShape("5" + n + "3", 1, 160, 648);
  }
}

TEST(ModelFiles, AreInTheOrderInWhichTheLibraryOpensThem) {
  EXPECT_EQ("0-1-0", modelFiles()[0].name);
  EXPECT_EQ("0-25-0", modelFiles()[24].name);
  EXPECT_EQ("6-0", modelFiles()[25].name);
  EXPECT_EQ("6-2", modelFiles()[27].name);
  EXPECT_EQ("1-1-1", modelFiles()[28].name);
  EXPECT_EQ("5-25-3", modelFiles()[302].name);
}

}  // namespace
}  // namespace facefeature_test
