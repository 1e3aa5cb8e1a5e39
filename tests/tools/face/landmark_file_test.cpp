#include "face/landmark_file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/failure.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

using facefeature_tools::LandmarkFile;
using facefeature_tools::parseLandmarks;

const std::vector<int32_t> kIds = {0,   1,   2,   3,   4,   5,   6,   9,   10,  11,
                                   12,  13,  43,  44,  45,  200, 221, 222, 223, 225,
                                   226, 227, 240, 241, 300, 302, 314, 315, 316};

std::string entry(const std::string& id, const std::string& x, const std::string& y) {
  return "{\"id\": " + id + ", \"x\": " + x + ", \"y\": " + y + "}";
}

std::string document(const std::vector<std::string>& entries, const std::string& head = "") {
  std::string text = "{" + head + "\"landmarks\": [";
  for (size_t i = 0; i < entries.size(); ++i) text += (i == 0 ? "" : ", ") + entries[i];
  return text + "]}";
}

std::vector<std::string> entriesFor(const std::vector<int32_t>& ids) {
  std::vector<std::string> entries;
  for (const int32_t id : ids) {
    entries.push_back(entry(std::to_string(id), std::to_string(id) + ".25", "-1.5e1"));
  }
  return entries;
}

std::string errorOf(const std::string& text) {
  try {
    parseLandmarks(text);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  ADD_FAILURE() << "was taken: " << text;
  return "";
}

TEST(LandmarkFile, FullRecordKeepsOrderAndCoordinates) {
  const LandmarkFile file =
      parseLandmarks(document(entriesFor(kIds), "\"width\": 7, \"height\": 9, \"face\": [1], "));
  ASSERT_EQ(29u, file.landmarks.size());
  for (size_t i = 0; i < kIds.size(); ++i) {
    EXPECT_EQ(kIds[i], file.landmarks[i].id);
    EXPECT_SAME_FLOAT(static_cast<float>(kIds[i]) + 0.25f, file.landmarks[i].x);
    EXPECT_SAME_FLOAT(-15.0f, file.landmarks[i].y);
  }
  EXPECT_EQ(7, file.width);
  EXPECT_EQ(9, file.height);
  EXPECT_EQ("", file.warning);
}

TEST(LandmarkFile, SizeOfThePhotographMayBeLeftOut) {
  const LandmarkFile file = parseLandmarks(document(entriesFor(kIds)));
  EXPECT_FALSE(file.width.has_value());
  EXPECT_FALSE(file.height.has_value());
}

TEST(LandmarkFile, SidesOfTheHeadMayBeLeftOutButAreMissed) {
  std::vector<int32_t> ids;
  for (const int32_t id : kIds) {
    if (id != 240 && id != 241 && id != 315 && id != 316) ids.push_back(id);
  }
  const LandmarkFile file = parseLandmarks(document(entriesFor(ids)));
  EXPECT_EQ(25u, file.landmarks.size());
  EXPECT_EQ("id 240 is missing, id 241 is missing, id 315 is missing, id 316 is missing",
            file.warning);
}

TEST(LandmarkFile, UnknownIdInsteadOfAnotherRaisesAWarning) {
  std::vector<int32_t> ids = kIds;
  ids[7] = 46;
  EXPECT_EQ("id 9 is missing, id 46 is not one of the 29",
            parseLandmarks(document(entriesFor(ids))).warning);
  ids[7] = 0;
  EXPECT_EQ("id 0 appears more than once, id 9 is missing",
            parseLandmarks(document(entriesFor(ids))).warning);
}

TEST(LandmarkFile, RecordThatTheLibraryWouldRejectIsRefused) {
  std::vector<int32_t> ids = kIds;
  ids.pop_back();
  EXPECT_NO_THROW(parseLandmarks(document(entriesFor(ids))));
  ids.erase(ids.begin());
  EXPECT_EQ("has 24 landmarks besides 240, 241, 315 and 316, not exactly 25",
            errorOf(document(entriesFor(ids))));
  ids.push_back(7);
  ids.push_back(8);
  EXPECT_EQ("has 26 landmarks besides 240, 241, 315 and 316, not exactly 25",
            errorOf(document(entriesFor(ids))));
  EXPECT_EQ("has 0 landmarks besides 240, 241, 315 and 316, not exactly 25", errorOf(document({})));
}

TEST(LandmarkFile, IdMustBeAWholeNumberThatTheLibraryKnows) {
  for (const char* id :
       {"-1", "318", "4294967296", "18446744073709551615", "-9223372036854775808"}) {
    const std::string wanted =
        "has the id " + std::string(id) + " in entry 0 of its landmarks, not 0 to 317";
    EXPECT_EQ(wanted, errorOf(document({entry(id, "1", "2")})));
  }
  for (const char* id : {"1.0", "\"1\"", "null", "true", "[1]", "18446744073709551616"}) {
    EXPECT_EQ("has no whole number \"id\" in entry 0 of its landmarks",
              errorOf(document({entry(id, "1", "2")})));
  }
}

TEST(LandmarkFile, CoordinatesMustBeFiniteFloats) {
  EXPECT_EQ("has no number \"x\" in entry 0 of its landmarks",
            errorOf(document({entry("1", "\"3\"", "2")})));
  EXPECT_EQ("has no number \"y\" in entry 0 of its landmarks",
            errorOf(document({"{\"id\": 1, \"x\": 3}"})));
  EXPECT_EQ("has a coordinate out of range in entry 0 of its landmarks",
            errorOf(document({entry("1", "3", "-3.5e38")})));
  EXPECT_NE(std::string::npos, errorOf(document({entry("1", "1e999", "2")})).find("not JSON"));
  EXPECT_NE(std::string::npos, errorOf(document({entry("1", "NaN", "2")})).find("not JSON"));
}

TEST(LandmarkFile, OtherDocumentsAreRefused) {
  for (const char* text : {"[]", "3", "\"landmarks\"", "null", "{}", "{\"landmarks\": {}}"}) {
    EXPECT_EQ("has no list \"landmarks\"", errorOf(text));
  }
  EXPECT_EQ("has no object in entry 0 of its landmarks", errorOf(document({"7"})));
  EXPECT_EQ("has a \"width\" that is not a whole number",
            errorOf(document(entriesFor(kIds), "\"width\": \"7\", ")));
}

TEST(LandmarkFile, SizeBeyond64BitsIsRefusedAndDoesNotTurnNegative) {
  const auto sized = [](const std::string& width) {
    return document(entriesFor(kIds), "\"width\": " + width + ", ");
  };
  EXPECT_EQ(9223372036854775807, parseLandmarks(sized("9223372036854775807")).width);
  EXPECT_EQ("has a \"width\" out of range", errorOf(sized("9223372036854775808")));
  EXPECT_EQ("has a \"width\" out of range", errorOf(sized("18446744073709551615")));
}

TEST(LandmarkFile, TextCutAnywhereIsRefused) {
  const std::string text = document(entriesFor(kIds));
  for (size_t length = 0; length < text.size(); ++length) {
    EXPECT_NE(std::string::npos, errorOf(text.substr(0, length)).find("is not JSON (")) << length;
  }
}

TEST(LandmarkFile, DeepNestingDoesNotExhaustTheStack) {
  EXPECT_NE(std::string::npos, errorOf(std::string(100000, '[')).find("is not JSON ("));
  EXPECT_EQ("has no list \"landmarks\"",
            errorOf(std::string(100000, '[') + std::string(100000, ']')));
}

TEST(LandmarkFile, WrittenTextIsReadBackToTheSameFloats) {
  SeededRandom random;
  std::vector<Landmark> landmarks;
  for (const int32_t id : kIds) {
    landmarks.push_back({id, random.between(-1e4f, 1e4f), random.normal() * 1e-3f});
  }
  const LandmarkFile file =
      parseLandmarks(facefeature_tools::landmarkText("a\xFF.ppm", 31, 17, landmarks));
  EXPECT_EQ(31, file.width);
  EXPECT_EQ(17, file.height);
  ASSERT_EQ(landmarks.size(), file.landmarks.size());
  for (size_t i = 0; i < landmarks.size(); ++i) {
    EXPECT_EQ(landmarks[i].id, file.landmarks[i].id);
    EXPECT_SAME_FLOAT(landmarks[i].x, file.landmarks[i].x);
    EXPECT_SAME_FLOAT(landmarks[i].y, file.landmarks[i].y);
  }
}

TEST(LandmarkFile, ErrorNamesTheFileAndTheRemedy) {
  const std::string path = privateTempFolder() + "/face.json";
  writeText(path, "{\"landmarks\": []");
  try {
    facefeature_tools::readLandmarkFile(path);
    FAIL();
  } catch (const facefeature_tools::Failure& failure) {
    const std::string text = failure.what();
    EXPECT_EQ(facefeature_tools::kBadInput, failure.code());
    EXPECT_EQ(0u, text.find(path + ": is not JSON ("));
    EXPECT_NE(std::string::npos, text.find(". Give a JSON file"));
  }
}

TEST(LandmarkFile, FilesOfTheDemonstrationAreFullRecords) {
  for (const char* name : {"astronaut", "grace_hopper"}) {
    const std::string path =
        std::string(FACEFEATURE_SOURCE_DIR) + "/tools/demo/landmarks/" + name + ".json";
    const LandmarkFile file = facefeature_tools::readLandmarkFile(path);
    EXPECT_EQ("", file.warning);
    EXPECT_EQ(512, file.width);
  }
}

TEST(MakeRecord, HoldsCountAndEntriesInTheLayoutOfTheLibrary) {
  const std::vector<Landmark> landmarks = {{300, 1.5f, -2.5f}, {0, 3.0f, 4.0f}, {7, 0.0f, 9.0f}};
  const facefeature_tools::LandmarkRecord record = facefeature_tools::makeRecord(landmarks);
  EXPECT_EQ(3, record->count);
  EXPECT_EQ(0u, record->reserved);
  const char* bytes = reinterpret_cast<const char*>(record.get());
  EXPECT_EQ(0, std::memcmp(bytes + 8, landmarks.data(), 36));
  EXPECT_EQ(0, facefeature_tools::makeRecord({})->count);
}

}  // namespace
}  // namespace facefeature_test
