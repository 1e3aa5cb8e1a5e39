// Finds faces in photographs, if the program was built with a detector and photographs of people
// are available.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "face/face_finder.h"
#include "face/landmark_file.h"
#include "photo/photo.h"
#include "support/environment.h"
#include "support/sample_faces.h"
#include "tools/model/synthetic_folder.h"
#include "tools/photo/encoded_pictures.h"
#include "tools/photo/photo_files.h"
#include "tools/run_program.h"
#include "verbs/verb_landmarks.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;

using facefeature_tools::FaceFinder;
using facefeature_tools::FoundFace;
using facefeature_tools::Photo;
using facefeature_tools::readPhoto;

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

double distance(const Landmark& a, const Landmark& b) {
  return std::hypot(static_cast<double>(a.x - b.x), static_cast<double>(a.y - b.y));
}

class FindLandmarks : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
    if (!facefeature_tools::facesCanBeFound()) GTEST_SKIP() << "built without a detector";
    writePpm(faceless, facefeature_tools::makePhoto(300, 200));
  }
  void TearDown() override { fs::remove_all(base); }

  const std::string base = privateTempFolder() + "/landmarks";
  const std::string faceless = base + "/faceless.ppm";
};

TEST_F(FindLandmarks, ExitsWith3IfThereIsNoFace) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"landmarks", faceless, "-o", base + "/out"},
        {"landmarks", faceless, "--all", "-o", base + "/out"},
        {"extract", faceless, "-o", base + "/out", "--model", syntheticFolder()}}) {
    const Outcome outcome = runProgram(arguments);
    EXPECT_EQ(3, outcome.exitCode) << outcome.err;
    EXPECT_EQ("", outcome.out);
    EXPECT_TRUE(contains(outcome.err, faceless + ": no face was found. "));
    EXPECT_FALSE(fs::exists(base + "/out"));
  }
}

TEST_F(FindLandmarks, WithoutTheShapeModelNamesWhatToInstall) {
  for (const std::string& model : {base + "/none", faceless}) {
    setVariable("FACEFEATURE_SHAPE_MODEL", model);
    const Outcome outcome = runProgram({"landmarks", faceless});
    unsetVariable("FACEFEATURE_SHAPE_MODEL");
    EXPECT_EQ(1, outcome.exitCode);
    EXPECT_EQ("", outcome.out);
    EXPECT_EQ(0u, outcome.err.find("facefeature landmarks: " + model + ": "));
    EXPECT_TRUE(contains(outcome.err, "libdlib-data")) << outcome.err;
  }
}

TEST_F(FindLandmarks, TakesAFaceOrAllOfThem) {
  const Outcome outcome = runProgram({"landmarks", faceless, "--all", "--face", "1"});
  EXPECT_EQ(2, outcome.exitCode);
  EXPECT_EQ(2, runProgram({"landmarks", faceless, "--face", "0"}).exitCode);
}

TEST(NumberedName, PutsTheNumberBeforeTheExtension) {
  using facefeature_tools::numberedName;
  EXPECT_EQ("people_1.json", numberedName("people.json", 1));
  EXPECT_EQ(std::string("a.b") + kSeparator + "people_12", numberedName("a.b/people", 12));
  EXPECT_EQ(std::string("some") + kSeparator + "people.old_2.json",
            numberedName("some/people.old.json", 2));
}

class FindLandmarksOfSamples : public FindLandmarks {
 protected:
  void SetUp() override {
    FindLandmarks::SetUp();
    if (IsSkipped()) return;
    folder = samplesFolder();
    if (folder.empty()) GTEST_SKIP() << "no folder of samples";
  }

  std::string sample(const std::string& name) const { return folder + "/" + name; }

  std::string folder;
};

// Another program found the landmarks of the samples in the same way. The boxes of the detector are
// the same. Its points depend on how the face is cropped: a crop that differs by a pixel moves them
// by as much as the detector's normal error on upright faces, 0.04 of the eye distance.
TEST_F(FindLandmarksOfSamples, GivesThoseOfTheSamplesWithinTheDetectorsSpread) {
  const FaceFinder finder;
  for (const SampleFace& wanted : sampleFaces(folder)) {
    std::ifstream stream(folder + "/" + wanted.name + ".json");
    const nlohmann::json document = nlohmann::json::parse(stream);
    if (document.contains("derived_from")) continue;  // its points were not detected
    SCOPED_TRACE(wanted.name);
    const std::vector<FoundFace> faces = finder.find(readPhoto(sample(wanted.imageFile)));
    ASSERT_FALSE(faces.empty());
    const auto& box = document.at("face");
    EXPECT_NEAR(box[0].get<double>(), faces[0].left, 0.051);
    EXPECT_NEAR(box[1].get<double>(), faces[0].top, 0.051);
    EXPECT_NEAR(box[2].get<double>(), faces[0].right, 0.051);
    EXPECT_NEAR(box[3].get<double>(), faces[0].bottom, 0.051);

    const std::vector<Landmark>& points = wanted.face.entries;
    ASSERT_EQ(points.size(), faces[0].landmarks.size());
    double sum = 0.0;
    for (size_t i = 0; i < points.size(); ++i) {
      EXPECT_EQ(points[i].id, faces[0].landmarks[i].id);
      sum += std::pow(distance(points[i], faces[0].landmarks[i]), 2.0);
    }
    const double spread = std::sqrt(sum / static_cast<double>(points.size()));
    const double eyes = distance(points[0], points[1]);
    EXPECT_LT(spread / eyes, 0.04);
    std::printf("%s: %.4f of the distance between the eyes\n", wanted.name.c_str(), spread / eyes);
  }
}

TEST_F(FindLandmarksOfSamples, WritesAFileThatIsReadBackToTheSameFloats) {
  const std::string photo = sample("hopper_1.jpg");
  const std::string file = base + "/face.json";
  const Outcome written = runProgram({"landmarks", photo, "-o", file});
  EXPECT_EQ(0, written.exitCode) << written.err;
  EXPECT_EQ("", written.out);
  EXPECT_EQ("", written.err);
  EXPECT_EQ(contentOf(file), runProgram({"landmarks", photo}).out);

  const facefeature_tools::LandmarkFile got = facefeature_tools::readLandmarkFile(file);
  EXPECT_EQ(512, got.width);
  EXPECT_EQ(600, got.height);
  EXPECT_EQ("", got.warning);
  const std::vector<FoundFace> faces = FaceFinder().find(readPhoto(photo));
  ASSERT_EQ(1u, faces.size());
  ASSERT_EQ(faces[0].landmarks.size(), got.landmarks.size());
  for (size_t i = 0; i < got.landmarks.size(); ++i) {
    EXPECT_EQ(faces[0].landmarks[i].id, got.landmarks[i].id);
    EXPECT_EQ(faces[0].landmarks[i].x, got.landmarks[i].x);
    EXPECT_EQ(faces[0].landmarks[i].y, got.landmarks[i].y);
  }
  const nlohmann::json document = nlohmann::json::parse(contentOf(file));
  EXPECT_EQ("hopper_1.jpg", document.at("image"));
  EXPECT_EQ(68u, document.at("points68").size());
  EXPECT_EQ(4u, document.at("face").size());
}

TEST_F(FindLandmarksOfSamples, ExtractWithoutLandmarksGivesTheFeatureOfTheFoundOnes) {
  const std::string photo = sample("ride_1.jpg");
  const std::string file = base + "/face.json";
  EXPECT_EQ(0, runProgram({"landmarks", photo, "-o", file}).exitCode);
  const auto extract = [&](std::vector<std::string> inputs, const std::string& feature) {
    inputs.insert(inputs.begin(), "extract");
    inputs.insert(inputs.end(), {"-o", feature, "--model", syntheticFolder()});
    const Outcome outcome = runProgram(inputs);
    EXPECT_EQ(0, outcome.exitCode);
    EXPECT_EQ("", outcome.err);
  };
  extract({photo}, base + "/found");
  extract({photo, file}, base + "/read");
  EXPECT_EQ(2008u, contentOf(base + "/found").size());
  EXPECT_EQ(contentOf(base + "/read"), contentOf(base + "/found"));
}

TEST_F(FindLandmarksOfSamples, SeveralFacesComeInDescendingOrderOfSize) {
  const std::string photo = base + "/two.ppm";
  writePpm(photo, sideBySide(readPhoto(sample("collins_1.png")), readPhoto(sample("ride_2.jpg"))));
  const auto noseOf = [&](const std::string& path) {
    for (const Landmark& landmark : facefeature_tools::readLandmarkFile(path).landmarks) {
      if (landmark.id == 9) return landmark.x;
    }
    return -1.0f;
  };
  const std::string file = base + "/face.json";
  const Outcome largest = runProgram({"landmarks", photo, "-o", file});
  EXPECT_EQ(0, largest.exitCode);
  EXPECT_TRUE(contains(largest.err, "2 faces were found; this is the largest. ")) << largest.err;
  EXPECT_GT(noseOf(file), 512.0f);

  const Outcome second = runProgram({"landmarks", photo, "--face", "2", "-o", file});
  EXPECT_EQ(0, second.exitCode);
  EXPECT_EQ("", second.err);
  EXPECT_LT(noseOf(file), 512.0f);

  const Outcome all = runProgram({"landmarks", photo, "--all", "-o", file});
  EXPECT_EQ(0, all.exitCode);
  EXPECT_EQ("", all.err);
  EXPECT_GT(noseOf(base + "/face_1.json"), 512.0f);
  EXPECT_EQ(contentOf(file), contentOf(base + "/face_2.json"));
  EXPECT_EQ(contentOf(base + "/face_1.json") + contentOf(base + "/face_2.json"),
            runProgram({"landmarks", photo, "--all"}).out);

  const Outcome third = runProgram({"landmarks", photo, "--face", "3", "-o", base + "/none"});
  EXPECT_EQ(3, third.exitCode);
  EXPECT_TRUE(contains(third.err, ": has no face 3, only 2 were found. "));
}

// A tilt that the detector is not made for is reported, as far as its own points show it.
TEST_F(FindLandmarksOfSamples, AFaceThatIsTiltedTooFarRaisesAWarning) {
  const Outcome outcome = runProgram({"landmarks", sample("ride_2_rot35.jpg"), "-o", base + "/f"});
  EXPECT_EQ(0, outcome.exitCode);
  EXPECT_TRUE(contains(outcome.err, ": warning: ")) << outcome.err;
}

}  // namespace
}  // namespace facefeature_test
