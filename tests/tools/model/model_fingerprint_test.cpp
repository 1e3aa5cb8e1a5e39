// Compares the fingerprint of a model folder with sha256sum, and tests which changes affect it.
#include "model/model_fingerprint.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "base/failure.h"
#include "support/environment.h"
#include "support/seeded_random.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using facefeature_tools::hexText;
using facefeature_tools::modelFingerprint;

// The names in the order in which the library opens the files, as an independent copy.
std::vector<std::string> namesInOrder() {
  std::vector<std::string> names;
  for (int net = 1; net <= 25; ++net) names.push_back("0-" + std::to_string(net) + "-0");
  for (const char* name : {"6-0", "6-1", "6-2"}) names.push_back(name);
  for (int net = 1; net <= 25; ++net) {
    for (const char* item : {"1-%-1", "1-%-2", "2-%-1", "2-%-2", "3-%-1", "3-%-2", "4-%-1", "4-%-2",
                             "5-%-1", "5-%-2", "5-%-3"}) {
      std::string name = item;
      names.push_back(name.replace(name.find('%'), 1, std::to_string(net)));
    }
  }
  return names;
}

#if defined(_WIN32)
// There is no other program to ask. sha256_test.cpp compares this digest with known ones.
std::string digestOf(const std::string& bytes) {
  facefeature_tools::Sha256 hash;
  hash.add(bytes.data(), bytes.size());
  return hexText(hash.digest());
}
#else
std::string digestOf(const std::string& bytes) {
  const std::string stream = privateTempFolder() + "/stream";
  writeText(stream, bytes);
  std::FILE* pipe = popen(("sha256sum " + stream).c_str(), "r");
  if (pipe == nullptr) return "";
  char digits[65] = {};
  EXPECT_EQ(64u, std::fread(digits, 1, 64, pipe));
  pclose(pipe);
  return digits;
}
#endif

// Files of a few bytes: the fingerprint does not interpret them.
class ModelFingerprint : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(folder);
    fs::create_directories(folder);
    SeededRandom random;
    for (const std::string& name : namesInOrder()) {
      const auto bytes = random.bytes(static_cast<size_t>(random.integer(0, 300)));
      writeText(folder + "/" + name, std::string(bytes.begin(), bytes.end()));
    }
  }
  void TearDown() override { fs::remove_all(folder); }

  std::string text() const { return hexText(modelFingerprint(folder)); }

  const std::string folder = privateTempFolder() + "/fingerprint";
};

TEST_F(ModelFingerprint, IsTheDigestOfNamesLengthsAndBytesInOrder) {
  ASSERT_EQ(303u, namesInOrder().size());
  std::string all;
  for (const std::string& name : namesInOrder()) {
    const std::string bytes = contentOf(folder + "/" + name);
    all += name + '\0';
    for (int shift = 0; shift < 64; shift += 8) all += static_cast<char>(bytes.size() >> shift);
    all += bytes;
  }
  EXPECT_EQ(digestOf(all), text());
}

TEST_F(ModelFingerprint, ChangesWithAnyByteAndWithBytesThatMoveToTheNextFile) {
  const std::string before = text();
  const std::string first = contentOf(folder + "/6-1");
  const std::string second = contentOf(folder + "/6-2");
  ASSERT_FALSE(first.empty());
  writeText(folder + "/6-1", first.substr(0, first.size() - 1));
  writeText(folder + "/6-2", first.back() + second);
  EXPECT_NE(before, text());
  writeText(folder + "/6-1", first);
  writeText(folder + "/6-2", second);
  EXPECT_EQ(before, text());
  std::string flipped = first;
  flipped[0] = static_cast<char>(flipped[0] ^ 1);
  writeText(folder + "/6-1", flipped);
  EXPECT_NE(before, text());
}

TEST_F(ModelFingerprint, IsThatOfTheModelWhateverElseLiesInItsFolder) {
  const std::string before = text();
  writeText(folder + "/README", "of no concern");
  EXPECT_EQ(before, text());
}

TEST_F(ModelFingerprint, OfAFolderThatLacksAFileIsABadModel) {
  fs::remove(folder + "/5-25-3");
  const Outcome outcome = runProgram({"model", "fingerprint", folder});
  EXPECT_EQ(4, outcome.exitCode);
  EXPECT_EQ("", outcome.out);
  EXPECT_EQ(0u, outcome.err.find("facefeature model fingerprint: " + folder + kSeparator +
                                 "5-25-3: can't be opened: "))
      << outcome.err;
}

TEST_F(ModelFingerprint, IsPrintedByItsVerb) {
  const Outcome outcome = runProgram({"model", "fingerprint", folder});
  EXPECT_EQ(0, outcome.exitCode) << outcome.err;
  EXPECT_EQ(text() + "\n", outcome.out);
}

}  // namespace
}  // namespace facefeature_test
