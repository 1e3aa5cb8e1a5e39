// The progress of a long run, as text and as JSON.
#include "batch/progress.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace facefeature_test {
namespace {

using facefeature_tools::ProgressCounts;
using facefeature_tools::progressJson;
using facefeature_tools::progressText;

TEST(ProgressText, GivesRateAndTimeLeftOfThisRunAlone) {
  ProgressCounts counts;
  counts.total = 1000;
  EXPECT_EQ("0 of 1000, 0 failed", progressText(counts, 3.0));
  counts.before = 500;
  EXPECT_EQ("500 of 1000, 0 failed", progressText(counts, 3.0));
  counts.done = 100;
  counts.failed = 2;
  EXPECT_EQ("600 of 1000, 2 failed, 10.0 a second, 0:40 left", progressText(counts, 10.0));
  EXPECT_EQ("600 of 1000, 2 failed, 0.1 a second, 1:06:40 left", progressText(counts, 1000.0));
  counts.done = 500;
  EXPECT_EQ("1000 of 1000, 2 failed, 500.0 a second, 0:00 left", progressText(counts, 1.0));
}

TEST(ProgressText, AsJsonHasTheSameNumbers) {
  ProgressCounts counts;
  counts.total = 1000;
  counts.before = 500;
  auto object = nlohmann::json::parse(progressJson("start", counts, 0.0));
  EXPECT_EQ("start", object.at("event"));
  EXPECT_TRUE(object.at("rate").is_null());
  EXPECT_TRUE(object.at("seconds_left").is_null());
  counts.done = 100;
  counts.failed = 2;
  object = nlohmann::json::parse(progressJson("progress", counts, 10.0));
  EXPECT_EQ(1000, object.at("total"));
  EXPECT_EQ(500, object.at("before"));
  EXPECT_EQ(100, object.at("done"));
  EXPECT_EQ(2, object.at("failed"));
  EXPECT_EQ(10.0, object.at("rate").get<double>());
  EXPECT_EQ(40.0, object.at("seconds_left").get<double>());
}

}  // namespace
}  // namespace facefeature_test
