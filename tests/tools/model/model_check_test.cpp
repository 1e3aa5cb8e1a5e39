#include "model/model_check.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "base/failure.h"
#include "model/model_files.h"
#include "tools/model/synthetic_folder.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

using facefeature_tools::CheckDepth;
using facefeature_tools::checkModel;
using facefeature_tools::Failure;
using facefeature_tools::ModelFault;
using facefeature_tools::modelFiles;

std::string words(int32_t first, int32_t second) {
  std::string bytes(8, '\0');
  std::memcpy(&bytes[0], &first, 4);
  std::memcpy(&bytes[4], &second, 4);
  return bytes;
}

class ModelCheck : public ::testing::Test {
 protected:
  const std::string folder = linkedFolder("checked");

  std::string original(const std::string& name) {
    return contentOf(syntheticFolder() + "/" + name);
  }

  void replace(const std::string& name, const std::string& bytes) {
    std::filesystem::remove(folder + "/" + name);
    writeText(folder + "/" + name, bytes);
  }

  // Expects this fault and no other, at both depths or only when the numbers are read.
  void expectFault(const std::string& name, const std::string& wrong, bool inShape = true) {
    const std::vector<ModelFault> faults =
        checkModel(folder, CheckDepth::kNumbers, facefeature_tools::kBadInput, "");
    ASSERT_EQ(1u, faults.size());
    EXPECT_EQ(name, faults[0].file);
    EXPECT_EQ(wrong, faults[0].wrong);
    EXPECT_EQ(inShape ? 1u : 0u,
              checkModel(folder, CheckDepth::kShapes, facefeature_tools::kBadInput, "").size());
  }
};

TEST_F(ModelCheck, GoodModelHasNoFaults) {
  EXPECT_TRUE(checkModel(folder, CheckDepth::kNumbers, facefeature_tools::kBadInput, "").empty());
}

TEST_F(ModelCheck, OtherFilesInTheFolderAreIgnored) {
  writeText(folder + "/1-26-1", "x");
  EXPECT_TRUE(checkModel(folder, CheckDepth::kNumbers, facefeature_tools::kBadInput, "").empty());
}

TEST_F(ModelCheck, MissingFileOfEachKindIsNamed) {
  for (const char* name : {"0-1-0", "0-25-0", "6-0", "6-1", "6-2", "1-1-1", "2-12-2", "3-13-1",
                           "4-20-2", "5-7-1", "5-8-2", "5-25-3"}) {
    const std::string path = folder + "/" + name;
    std::filesystem::rename(path, folder + "/hidden");
    const std::vector<ModelFault> faults =
        checkModel(folder, CheckDepth::kShapes, facefeature_tools::kBadInput, "");
    ASSERT_EQ(1u, faults.size()) << name;
    EXPECT_EQ(name, faults[0].file);
    EXPECT_EQ("is missing", faults[0].wrong);
    std::filesystem::rename(folder + "/hidden", path);
  }
}

TEST_F(ModelCheck, AllFilesOfAnEmptyFolderAreNamed) {
  std::filesystem::remove_all(folder);
  std::filesystem::create_directory(folder);
  const std::vector<ModelFault> faults =
      checkModel(folder, CheckDepth::kNumbers, facefeature_tools::kBadInput, "");
  ASSERT_EQ(modelFiles().size(), faults.size());
  for (size_t i = 0; i < faults.size(); ++i) {
    EXPECT_EQ(modelFiles()[i].name, faults[i].file);
    EXPECT_EQ("is missing", faults[i].wrong);
  }
}

#if !defined(_WIN32)
// On Windows, symbolic links need rights that a test does not have.
TEST_F(ModelCheck, DanglingLinkIsMissing) {
  std::filesystem::remove(folder + "/3-7-2");
  std::filesystem::create_symlink("nowhere", folder + "/3-7-2");
  expectFault("3-7-2", "is missing");
}
#endif

TEST_F(ModelCheck, ShortFilesAreNamedWithWhatTheyLack) {
  replace("6-0", original("6-0").substr(0, 31996));
  expectFault("6-0", "has 31996 bytes, 4 bytes too few");
  std::filesystem::remove(folder + "/6-0");
  replace("6-0", original("6-0"));
  replace("1-4-1", original("1-4-1").substr(0, 1031));
  expectFault("1-4-1", "has 1031 bytes, 1 byte too few");
}

TEST_F(ModelCheck, FilesTooShortForTheirHeaderAreNamed) {
  replace("0-9-0", "");
  expectFault("0-9-0", "has 0 bytes, 8840 bytes too few");
  replace("0-9-0", original("0-9-0"));
  replace("2-9-2", words(32, 1).substr(0, 7));
  expectFault("2-9-2", "has 7 bytes, 129 bytes too few");
}

TEST_F(ModelCheck, LongFilesAreNamed) {
  replace("5-25-3", original("5-25-3") + "x");
  expectFault("5-25-3", "has 649 bytes, 1 byte too many");
}

TEST_F(ModelCheck, HeadersOfAnotherShapeAreNamed) {
  replace("1-3-1", words(16, 48) + original("1-3-1").substr(8));
  expectFault("1-3-1", "has a header for 16 x 48 floats, but the nets need 48 x 16 floats");
  replace("1-3-1", original("1-3-1"));
  replace("4-3-2", words(-64, -1) + original("4-3-2").substr(8));
  expectFault("4-3-2", "has a header for -64 x -1 floats, but the nets need 64 x 1 floats");
  replace("4-3-2", original("4-3-2"));
  replace("0-4-0", words(9075, 0).substr(0, 4) + original("0-4-0").substr(4));
  expectFault("0-4-0", "has a header for 9075 floats, but the nets need 2209 floats");
}

TEST_F(ModelCheck, NumbersThatAreNotFiniteAreNamedWithTheirPosition) {
  const auto with = [this](const std::string& name, size_t byte, float value) {
    std::string bytes = contentOf(folder + "/" + name);
    std::memcpy(&bytes[byte], &value, 4);
    replace(name, bytes);
  };
  with("6-2", 15999996, std::numeric_limits<float>::quiet_NaN());
  expectFault(
      "6-2",
      "contains 1 number that is infinite or not a number, the first at index 3999999 of its "
      "floats",
      false);
  with("6-2", 400, std::numeric_limits<float>::infinity());
  with("6-2", 800, -std::numeric_limits<float>::infinity());
  expectFault("6-2",
              "contains 3 numbers that are infinite or not a number, the first at index 100 of its "
              "floats",
              false);
  replace("6-2", original("6-2"));
  with("5-2-1", 8, std::numeric_limits<float>::quiet_NaN());
  expectFault("5-2-1",
              "contains 1 number that is infinite or not a number, the first at index 0 of its "
              "floats",
              false);
}

TEST_F(ModelCheck, FolderOrPipeInsteadOfAFileIsNamed) {
  std::filesystem::remove(folder + "/6-1");
  std::filesystem::create_directory(folder + "/6-1");
  expectFault("6-1", "is not a regular file");
#if !defined(_WIN32)
  std::filesystem::remove(folder + "/6-1");
  ASSERT_EQ(0, mkfifo((folder + "/6-1").c_str(), 0600));
  expectFault("6-1", "is not a regular file");
#endif
}

#if !defined(_WIN32)
// On Windows, symbolic links need rights that a test does not have.
TEST_F(ModelCheck, FileThatCannotBeReachedIsNamed) {
  std::filesystem::remove(folder + "/2-2-1");
  std::filesystem::create_symlink("2-2-1", folder + "/2-2-1");
  expectFault("2-2-1", "can't be read: Too many levels of symbolic links");
}
#endif

TEST_F(ModelCheck, AllFaultsAreNamedInTheOrderOfTheFiles) {
  for (const char* name : {"5-1-1", "6-0", "0-2-0"}) std::filesystem::remove(folder + "/" + name);
  const std::vector<ModelFault> faults =
      checkModel(folder, CheckDepth::kNumbers, facefeature_tools::kBadInput, "");
  ASSERT_EQ(3u, faults.size());
  EXPECT_EQ("0-2-0", faults[0].file);
  EXPECT_EQ("6-0", faults[1].file);
  EXPECT_EQ("5-1-1", faults[2].file);
}

TEST(ModelCheckOfNoFolder, ExitsWithTheGivenCodeAndAdvice) {
  const std::string file = privateTempFolder() + "/file";
  writeText(file, "");
  for (const std::string& path : {privateTempFolder() + "/none", file}) {
    try {
      checkModel(path, CheckDepth::kShapes, facefeature_tools::kBadModel, "Do so");
      ADD_FAILURE() << path;
    } catch (const Failure& failure) {
      EXPECT_EQ(facefeature_tools::kBadModel, failure.code());
      const std::string text = failure.what();
      EXPECT_EQ(0u, text.find(path + ": can't be read as a folder: "));
      EXPECT_NE(std::string::npos, text.find(". Do so."));
    }
  }
}

}  // namespace
}  // namespace facefeature_test
