// The public headers, compiled by hosts in other dialects than the library's own.
#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <string>
#include <vector>

#include "facefeature/facefeature.h"
#include "rules/command.h"
#include "rules/repository.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {
namespace {

// The compiler's output for a file that includes a header twice and contains nothing else.
std::string complaints(const std::string& compiler, const std::string& language,
                       const std::string& standard, const std::string& header) {
  const std::string source = privateTempFolder() + "/host." + language;
  const std::string include = "#include <facefeature/" + header + ">\n";
  std::ofstream(source) << include << include
                        << "int host(void);\n"
                           "int host(void) { return (int)sizeof(LandmarkSet); }\n";
  const CommandResult result =
      runCommand(quoted(compiler) + " -std=" + standard +
                 " -pedantic -Wall -Wextra -Wconversion -Wshadow -Werror -fsyntax-only -I " +
                 quoted((repositoryRoot() / "include").string()) + " " + quoted(source));
  return result.exitStatus == 0 && result.output.empty()
             ? ""
             : header + " -std=" + standard + ": " + result.output;
}

constexpr const char* kHeaders[] = {"facefeature.h", "batch.h"};

// The compiler of the build, and the other one if the machine has it.
std::vector<std::string> compilers(const char* ofTheBuild, const char* other) {
  std::vector<std::string> found = {ofTheBuild};
  if (runCommand(std::string("command -v ") + other).exitStatus == 0) found.push_back(other);
  return found;
}

TEST(PublicHeaders, CompileAloneInEveryC) {
  for (const std::string& compiler : compilers(FACEFEATURE_C_COMPILER, "clang")) {
    SCOPED_TRACE(compiler);
    for (const char* standard : {"c99", "c11", "c17", "gnu99", "gnu17"}) {
      for (const char* header : kHeaders) {
        EXPECT_EQ("", complaints(compiler, "c", standard, header));
      }
    }
  }
}

TEST(PublicHeaders, CompileAloneInEveryCpp) {
  for (const std::string& compiler : compilers(FACEFEATURE_CXX_COMPILER, "clang++")) {
    SCOPED_TRACE(compiler);
    for (const char* standard : {"c++98", "c++11", "c++14", "c++17", "c++20", "gnu++17"}) {
      for (const char* header : kHeaders) {
        EXPECT_EQ("", complaints(compiler, "cpp", standard, header));
      }
    }
  }
}

TEST(PublicHeader, LaysRecordsOutWithoutGaps) {
  EXPECT_EQ(2008u, sizeof(FeatureVector));
  EXPECT_EQ(0u, offsetof(FeatureVector, values));
  EXPECT_EQ(12u, sizeof(Landmark));
  EXPECT_EQ(0u, offsetof(Landmark, id));
  EXPECT_EQ(4u, offsetof(Landmark, x));
  EXPECT_EQ(8u, offsetof(Landmark, y));
  EXPECT_EQ(0u, offsetof(LandmarkSet, count));
  EXPECT_EQ(4u, offsetof(LandmarkSet, reserved));
  EXPECT_EQ(8u, offsetof(LandmarkSet, entries));
  EXPECT_EQ(sizeof(Landmark), offsetof(LandmarkSet, entries[1]) - offsetof(LandmarkSet, entries));
}

TEST(PublicHeader, NumbersTheFunctions) {
  EXPECT_EQ(1, kOrdinalCreateFeatureEngine);
  EXPECT_EQ(2, kOrdinalExtractFeature);
  EXPECT_EQ(3, kOrdinalCompareFeatures);
  EXPECT_EQ(4, kOrdinalDestroyFeatureEngine);
  EXPECT_EQ(502, kFeatureFloats);
}

// A C99 program that is linked with the library runs and calls all four functions.
TEST(PublicHeader, ServesAHostInC) {
  const CommandResult result = runCommand(quoted(FACEFEATURE_C_HOST));
  EXPECT_EQ(0, result.exitStatus);
  EXPECT_EQ("null engine\nfeature untouched\nscore 1\n", result.output);
}

}  // namespace
}  // namespace facefeature_test
