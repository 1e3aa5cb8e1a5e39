// Everything that someone with write access to the model folder can cause besides other features:
// the process ends, memory is allocated, a creation waits.
#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <sys/stat.h>
#endif

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "host/linked_model.h"
#include "host/probe_run.h"
#include "support/bits.h"

namespace facefeature_test {
namespace {

std::string headed(int32_t rows, int32_t cols, const std::string& floats = "") {
  std::string bytes(8, '\0');
  std::memcpy(&bytes[0], &rows, 4);
  std::memcpy(&bytes[4], &cols, 4);
  return bytes + floats;
}

struct OddFile {
  const char* name;
  int32_t rows;
  int32_t cols;
};

// No weights, too few for their input, another number of outputs, windows of another size: none of
// these is noticed before use, and then it is detected before any access outside of the matrices.
TEST(OddModelFile, WeightsThatDoNotFitTheirNetTerminateTheProcessAtTheFirstExtraction) {
  const OddFile files[] = {{"1-1-1", 0, 0},          {"2-10-1", 143, 32},  {"4-3-1", 1, 64},
                           {"4-3-1", 2147483647, 0}, {"5-1-1", 1023, 160}, {"5-1-1", 1024, 161},
                           {"5-25-2", 0, 160}};
  for (const OddFile& file : files) {
    SCOPED_TRACE(std::string(file.name) + " " + std::to_string(file.rows) + " x " +
                 std::to_string(file.cols));
    const LinkedModel model;
    model.write(file.name, headed(file.rows, file.cols));
    const ChildResult result = runProbe(model, oneExtraction());
    EXPECT_EQ("a made\n", result.out);
    EXPECT_TRUE(result.wasAborted()) << result.signal << " " << result.exitStatus;
    EXPECT_NE(std::string::npos, result.err.find("std::out_of_range")) << result.err;
  }
}

// The layers take the number of their filters from the file, and it may still be enough for what
// the next layer needs.
TEST(OddModelFile, WeightsThatStillFitGiveAnotherFeature) {
  for (const OddFile& file :
       {OddFile{"2-1-1", 144, 31}, OddFile{"3-25-1", 288, 49}, OddFile{"5-2-2", 1200, 0}}) {
    SCOPED_TRACE(file.name);
    const LinkedModel model;
    model.write(file.name, headed(file.rows, file.cols));
    const std::string text = featureWith(model);
    EXPECT_EQ("feature", text.substr(0, 7));
    EXPECT_NE(goodFeature(), text);
  }
}

// Also if there are more biases than outputs: the surplus is ignored.
TEST(OddModelFile, BiasesOfAnyShapeGiveAFeature) {
  const OddFile files[] = {{"1-1-2", 1, 16},  {"1-1-2", 17, 1},   {"2-2-2", 5000, 1},
                           {"4-25-2", 1, 1},  {"5-1-3", 160, 1},  {"5-2-3", 1, 100000},
                           {"5-3-3", 40, 40}, {"3-3-2", 1, 70000}};
  for (const OddFile& file : files) {
    SCOPED_TRACE(std::string(file.name) + " " + std::to_string(file.rows) + " x " +
                 std::to_string(file.cols));
    const LinkedModel model;
    model.write(file.name, headed(file.rows, file.cols));
    EXPECT_EQ("feature", featureWith(model).substr(0, 7));
  }
}

TEST(OddModelFile, AFewBytesTakeTheMemoryThatTheirHeaderAsksFor) {
  constexpr int32_t kSide = 4096;  // 64 MiB
  const Steps steps = {"load", "create", "a", "memory", "destroy", "a", "unload"};
  const auto memoryWith = [&](const LinkedModel& model) {
    const std::vector<std::string> lines = linesOf(outputOf(runProbe(model, steps)));
    return lines.size() == 2 ? std::atol(lines[1].c_str() + 7) : 0;
  };
  const LinkedModel model;
  const long before = memoryWith(model);
  model.write("5-25-1", headed(kSide, kSide));
  EXPECT_GT(memoryWith(model), before + 60000) << "KiB";
}

// The resulting feature has numbers in all other elements.
TEST(OddModelFile, ANaNInAProjectionPropagatesIntoTheFeature) {
  const LinkedModel model;
  std::string bytes = model.read("6-2");
  const float nan = std::numeric_limits<float>::quiet_NaN();
  std::memcpy(&bytes[size_t{7} * 8000 * 4], &nan, 4);
  model.write("6-2", bytes);
  const std::string text = featureWith(model);
  const auto element = [&](size_t k) {
    return floatOfBits(
        static_cast<uint32_t>(std::strtoul(text.substr(8 + 9 * k, 8).c_str(), nullptr, 16)));
  };
  for (size_t k = 0; k < 502; ++k) {
    EXPECT_EQ(k == 7 || k == 501, std::isnan(element(k))) << k;
  }
}

// The next layer treats a NaN as 0, so the feature shows no sign of it.
TEST(OddModelFile, ANaNInAFilterMayVanish) {
  const LinkedModel model;
  std::string bytes = model.read("1-1-1");
  const float nan = std::numeric_limits<float>::quiet_NaN();
  std::memcpy(&bytes[8], &nan, 4);
  model.write("1-1-1", bytes);
  const std::string text = featureWith(model);
  EXPECT_EQ("feature", text.substr(0, 7));
  EXPECT_EQ(std::string::npos, text.find("7fc00000"));
  EXPECT_NE(goodFeature(), text);
}

#if !defined(_WIN32)
// On Windows, pipes have a namespace of their own, and creating links needs rights that a test
// lacks.

// A creation waits for the writer of the pipe for as long as it takes, then uses what it wrote.
TEST(OddModelFile, APipeIsReadLikeAFile) {
  const LinkedModel model;
  const std::string bytes = model.read("6-1");
  model.remove("6-1");
  ASSERT_EQ(0, mkfifo(model.path("6-1").c_str(), 0600));
  std::thread writer([&] {
    std::ofstream pipe(model.path("6-1"), std::ios::binary);
    pipe.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  });
  EXPECT_EQ(goodFeature(), featureWith(model));
  writer.join();
}

TEST(OddModelFile, LinksAreFollowedWhereverTheyLead) {
  const LinkedModel model;
  const std::string away = model.temporaryFolder() + "/away";
  std::filesystem::rename(model.folder(), away);
  std::filesystem::create_directory_symlink(away, model.folder());
  std::filesystem::rename(away + "/6-2", model.temporaryFolder() + "/far");
  std::filesystem::create_symlink("../far", away + "/6-2");
  EXPECT_EQ(goodFeature(), featureWith(model));
}
#endif

}  // namespace
}  // namespace facefeature_test
