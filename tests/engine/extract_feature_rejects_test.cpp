// Requests that give a feature of quiet NaNs and change nothing else.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <vector>

#include "engine/feature_engine.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "support/test_engine.h"

namespace facefeature_test {
namespace {

bool isQuietNaN(float value) { return std::isnan(value) && (bitsOf(value) & 0x00400000u) != 0; }

// One call of ExtractFeature with these arguments, unchanged.
struct Arguments {
  const uint8_t* pixels;
  int32_t width, height, stride;
  const LandmarkSet* landmarks;
};

// Expects a feature of quiet NaNs and no change to any other byte.
void expectRejected(FeatureEngine* engine, const Arguments& arguments, const char* what) {
  std::memset(engine->grayFace, 0xA5, sizeof engine->grayFace);
  std::memset(engine->colorFace, 0x5A, sizeof engine->colorFace);
  const FeatureEngine before = *engine;
  std::vector<float> feature(kFeatureFloats + 2, kUnwritten);
  facefeature::ExtractFeature(engine, arguments.pixels, arguments.width, arguments.height,
                              arguments.stride, arguments.landmarks, feature.data() + 1);
  for (size_t i = 1; i <= kFeatureFloats; ++i) {
    ASSERT_TRUE(isQuietNaN(feature[i])) << what << ": element " << i - 1 << " is " << feature[i];
  }
  EXPECT_EQ(kUnwritten, feature.front()) << what;
  EXPECT_EQ(kUnwritten, feature.back()) << what;
  EXPECT_EQ(0, std::memcmp(&before, engine, sizeof before)) << what;
}

TEST(ExtractFeatureRejects, NullPointersAndPicturesBelowTwoByTwo) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  const std::vector<uint8_t> picture = request.picture.storage;
  const OwnEngine engine;
  const Arguments good = {request.picture.pixels(), request.picture.width, request.picture.height,
                          request.picture.stride, request.face.set()};
  Arguments arguments = good;
  arguments.pixels = nullptr;
  expectRejected(engine.get(), arguments, "null pixels");
  arguments = good;
  arguments.landmarks = nullptr;
  expectRejected(engine.get(), arguments, "null landmarks");
  for (const int32_t side : {1, 0, -1, -2, -640, INT_MIN}) {
    arguments = good;
    arguments.width = side;
    expectRejected(engine.get(), arguments, "width");
    arguments = good;
    arguments.height = side;
    expectRejected(engine.get(), arguments, "height");
  }
  arguments = {nullptr, 0, 0, 0, nullptr};
  expectRejected(engine.get(), arguments, "everything");
  EXPECT_EQ(picture, request.picture.storage);
}

TEST(ExtractFeatureRejects, RecordsThatDoNotKeepExactly25Entries) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random, FaceKind::kUpright);
  const OwnEngine engine;
  const auto expectRejectedWith = [&](FaceRecord face, const char* what) {
    const std::vector<Landmark> before = face.entries;
    const LandmarkSet* set = face.set();
    expectRejected(engine.get(),
                   {request.picture.pixels(), request.picture.width, request.picture.height,
                    request.picture.stride, set},
                   what);
    EXPECT_EQ(static_cast<int32_t>(before.size()), set->count);
    EXPECT_EQ(0, std::memcmp(before.data(), set->entries, before.size() * sizeof(Landmark)));
  };
  const Landmark dropped = request.face.withId(240);

  FaceRecord face = request.face;
  face.entries.pop_back();  // id 316
  face.entries.erase(face.entries.begin());
  expectRejectedWith(face, "24 kept entries");
  face.entries.push_back(dropped);
  face.entries.push_back(dropped);
  expectRejectedWith(face, "24 kept entries among 29");
  face = request.face;
  face.entries.push_back({100, 5.0f, 5.0f});
  expectRejectedWith(face, "26 kept entries");
  face.entries.erase(face.entries.begin() + 22);  // id 240
  expectRejectedWith(face, "26 kept entries among 29");
  face.entries.assign(40, dropped);
  expectRejectedWith(face, "dropped entries alone");
}

TEST(ExtractFeatureRejects, NegativeAndEmptyCounts) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random, FaceKind::kUpright);
  const OwnEngine engine;
  for (const int32_t count : {0, -1, -25, -29, INT_MIN}) {
    // The entries themselves are valid.
    LandmarkSet* set = const_cast<LandmarkSet*>(request.face.set());
    set->count = count;
    expectRejected(engine.get(),
                   {request.picture.pixels(), request.picture.width, request.picture.height,
                    request.picture.stride, set},
                   "count");
  }
}

TEST(ExtractFeatureRejects, IdsOutside0To317) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random, FaceKind::kUpright);
  const OwnEngine engine;
  for (const int32_t id : {-1, 318, 319, 100000, INT_MAX, INT_MIN, -240}) {
    for (const size_t index : {size_t{0}, size_t{13}, size_t{28}}) {
      FaceRecord face = request.face;
      face.entries[index].id = id;
      expectRejected(engine.get(),
                     {request.picture.pixels(), request.picture.width, request.picture.height,
                      request.picture.stride, face.set()},
                     "id");
    }
    FaceRecord face = request.face;
    face.entries.push_back({id, 1.0f, 1.0f});
    expectRejected(engine.get(),
                   {request.picture.pixels(), request.picture.width, request.picture.height,
                    request.picture.stride, face.set()},
                   "one more id");
  }
}

TEST(ExtractFeatureRejects, RequestsOfAnEngineWhoseModelIsFreed) {
  haveModel();
  SeededRandom random;
  Request request = randomRequest(random);
  const OwnEngine engine;
  {
    const SpoiltFile missing("6-1");
    EXPECT_EQ(nullptr, facefeature::CreateFeatureEngine());
  }
  expectRejected(engine.get(),
                 {request.picture.pixels(), request.picture.width, request.picture.height,
                  request.picture.stride, request.face.set()},
                 "no model");
}

}  // namespace
}  // namespace facefeature_test
