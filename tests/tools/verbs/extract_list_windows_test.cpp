// The program for Windows reports what it cannot do, and does nothing else.
#include <gtest/gtest.h>

#include <filesystem>

#include "tools/run_program.h"

namespace facefeature_test {
namespace {

TEST(ExtractListOnWindows, ExitsWith2AndNamesTheAlternatives) {
  const std::string list = privateTempFolder() + "/list.csv";
  const std::string gallery = privateTempFolder() + "/list.gallery";
  writeText(list, "a,photo.jpg,photo.json\n");
  const Outcome outcome = runProgram({"extract", "--list", list, "-o", gallery});
  EXPECT_EQ(2, outcome.exitCode);
  EXPECT_EQ("", outcome.out);
  EXPECT_EQ("facefeature extract: " + list +
                ": this program can't extract the photographs of a list. Extract each one "
                "separately, or the list on Linux.\n",
            outcome.err);
  EXPECT_FALSE(std::filesystem::exists(gallery));
}

}  // namespace
}  // namespace facefeature_test
