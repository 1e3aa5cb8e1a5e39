// Checks that every request is either rejected without side effects or gives one feature, whatever
// the kernel set and the patch plan. Input: any bytes. They describe a call: a picture of any size
// and stride (also negative strides, and strides that make rows overlap), in a block of exactly the
// bytes that it needs; and a record with any count, ids and coordinates. The picture and the record
// always have the memory that the arguments promise, because the library can't check that.
//
// A request that the contract rejects, according to an independent reading of it, must give 502
// quiet NaNs and change nothing else. Any other request must give the same bits with each kernel
// set and again in a second call, whatever the scratch faces, the feature and the reserved word
// contain before.
//
// One engine serves all inputs. Its means and projections have the library's sizes and synthetic
// numbers. Its nets are smaller than the library's, a pooling layer and a product, because a call
// would otherwise take seconds in a build with sanitizers. fuzz_nets checks what layers do.
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "engine/feature_engine.h"
#include "engine/model_state.h"
#include "fuzz_input.h"
#include "geometry/model_points.h"
#include "geometry/patch_table.h"
#include "kernels/kernel_set.h"
#include "kernels/matrix.h"
#include "net/conv_net.h"
#include "same_results.h"
#include "support/model_folder.h"
#include "support/scoped_kernels.h"

namespace {

using facefeature::FeatureEngine;
using facefeature::PatchPlan;
using facefeature_fuzz::fail;
using facefeature_fuzz::Input;
using facefeature_fuzz::requireSameBytes;
using Bytes = std::vector<uint8_t>;

// A sawtooth about 0 with this period.
void fillWave(float* values, int32_t count, int32_t period, float height) {
  for (int32_t i = 0; i < count; ++i) {
    const int32_t index = i % period;
    values[i] = height * static_cast<float>(2 * index - period) / static_cast<float>(period);
  }
}

void writeMatrix(const std::string& name, int32_t rows, int32_t cols, float height) {
  std::vector<float> values(static_cast<size_t>(rows * cols));
  fillWave(values.data(), rows * cols, 97, height);
  facefeature_test::writeMatrixFile(name, rows, cols, values);
}

facefeature::ConvNet* smallNet(int32_t index) {
  const std::string channels = facefeature::patchSpec.isColor[index] == 1 ? "3" : "1";
  std::string text = "[Net]\nLayerCount=3\nLayerNames=data_pool_fc\n";
  text += "[data]\ntype=data\nactsTarget=0\ndataIdx=" + std::to_string(index) + "\n";
  text += "[pool]\ntype=pool\npool=avg\ninputs=data\nsizeX=11\nstart=0\nstride=9\noutputsX=5\n";
  text += "channels=" + channels + "\n";
  text += "[fc]\ntype=fc\ninputs=pool\nbiases=biases\nweights=weights" + channels + "\n";
  return new facefeature::ConvNet(index, text.c_str());
}

FeatureEngine* newEngine() {
  writeMatrix("weights1", 25, 160, 0.5f);
  writeMatrix("weights3", 75, 160, 0.5f);
  writeMatrix("biases", 1, 160, 10.0f);
  FeatureEngine* engine = new FeatureEngine;
  for (int32_t i = 0; i < facefeature::kPatchCount; ++i) engine->nets[i] = smallNet(i);
  facefeature_test::clearModelFolder();

  constexpr int32_t kJoined = facefeature::kPatchFeatureFloats;
  constexpr int32_t kProjection = facefeature::kProjectedFloats * kJoined;
  fillWave(facefeature::patchMeans[0], facefeature::kPatchCount * facefeature::kLargestSample, 211,
           60.0f);
  facefeature::featureMean = facefeature::allocateFloats(kJoined);
  facefeature::selfProjection = facefeature::allocateFloats(kProjection);
  facefeature::crossProjection = facefeature::allocateFloats(kProjection);
  fillWave(facefeature::featureMean, kJoined, 31, 0.02f);
  fillWave(facefeature::selfProjection, kProjection, 1013, 0.05f);
  fillWave(facefeature::crossProjection, kProjection, 787, 0.05f);
  return engine;
}

FeatureEngine* sharedEngine() {
  static FeatureEngine* const engine = newEngine();
  return engine;
}

// The arguments of a call, and the memory that they refer to.
struct Request {
  bool hasEngine, hasFeature, hasPixels, hasLandmarks;
  int32_t width, height, stride;
  Bytes picture;
  size_t topRow;  // offset of pixels in the picture
  Bytes record;

  const uint8_t* pixels() const { return hasPixels ? picture.data() + topRow : nullptr; }
  const LandmarkSet* landmarks() const {
    return hasLandmarks ? reinterpret_cast<const LandmarkSet*>(record.data()) : nullptr;
  }
};

int32_t anyStride(Input& input, int32_t width, int32_t height) {
  const int32_t row = 3 * width;
  int32_t stride = row + input.integer(0, 9);
  const uint8_t way = input.byte();
  if (way % 8 == 0) stride = input.integer(0, row);
  if (way % 8 == 1 && height < 8) stride = input.integer(0, 65535);
  return input.byte() % 4 == 0 ? -stride : stride;
}

// Memory from the first byte of the lowest row to the last byte of the highest row.
void addPicture(Input& input, Request& request) {
  const bool isLong = input.byte() % 16 == 0;
  request.width = input.integer(2, isLong ? 3000 : 60);
  request.height = input.integer(2, isLong ? 4 : 60);
  if (isLong && input.flag()) std::swap(request.width, request.height);
  request.stride = anyStride(input, request.width, request.height);
  const int64_t reach = int64_t{request.stride} * (request.height - 1);
  request.topRow = static_cast<size_t>(std::max<int64_t>(-reach, 0));
  request.picture.resize(static_cast<size_t>(std::abs(reach)) +
                         3 * static_cast<size_t>(request.width));
  // Rows must differ, although most of their bytes repeat the input.
  uint8_t pattern[256];
  for (uint8_t& byte : pattern) byte = input.byte();
  for (size_t i = 0; i < request.picture.size(); ++i) {
    request.picture[i] = static_cast<uint8_t>(pattern[i % 256] + i / 256 * 13);
  }
}

const int32_t kIds[facefeature::kModelPointCount] = {
    0,   1,   2,   3,   4,   5,   6,   9,   10,  11,  12,  13,  43,  44, 45,
    200, 221, 222, 223, 225, 226, 227, 240, 241, 300, 302, 314, 315, 316};

int32_t anyId(Input& input) {
  static const int32_t kOdd[] = {-1,  318, std::numeric_limits<int32_t>::min(),
                                 317, 0,   std::numeric_limits<int32_t>::max()};
  return input.byte() % 4 == 0 ? kOdd[input.integer(0, 5)] : input.integer(0, 317);
}

// A frontal face with each point moved a little, in any order. A wild record has any floats among
// its coordinates; some records have other ids, or more or fewer entries.
std::vector<Landmark> anyEntries(Input& input) {
  const float scale = static_cast<float>(input.integer(1, 600)) * 0.01f;
  const float x = static_cast<float>(input.integer(-60, 120));
  const float y = static_cast<float>(input.integer(-60, 120));
  const bool isWild = input.byte() % 4 == 0, hasOddIds = input.byte() % 8 == 0;
  const int32_t count = input.byte() % 16 == 0 ? input.integer(0, 60) : 29;
  std::vector<Landmark> entries;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t point = i % facefeature::kModelPointCount;
    const float* position = facefeature::ModelPoints[point];
    const auto noise = [&input] { return static_cast<float>(input.byte() - 128) * 0.01f; };
    Landmark entry = {kIds[point], x + scale * (position[0] + noise()),
                      y + scale * (position[1] + noise())};
    if (isWild && input.byte() % 8 == 0) entry.x = input.anyFloat();
    if (isWild && input.byte() % 8 == 0) entry.y = input.anyFloat();
    if (hasOddIds && input.byte() % 8 == 0) entry.id = anyId(input);
    entries.insert(entries.begin() + (input.flag() ? 0 : i), entry);
  }
  return entries;
}

void addRecord(Input& input, Request& request) {
  const std::vector<Landmark> entries = anyEntries(input);
  int32_t count = static_cast<int32_t>(entries.size());
  if (input.byte() % 32 == 0) count = -input.integer(1, 65535);
  request.record.resize(sizeof(LandmarkSet) + sizeof(Landmark) * entries.size());
  std::memcpy(request.record.data(), &count, sizeof count);
  if (!entries.empty()) {
    std::memcpy(&request.record[8], entries.data(), sizeof(Landmark) * entries.size());
  }
  request.record.resize(std::max(sizeof(LandmarkSet), 8 + sizeof(Landmark) * entries.size()));
}

Request anyRequest(Input& input) {
  Request request = {true, true, true, true, 0, 0, 0, {}, 0, {}};
  addRecord(input, request);
  addPicture(input, request);
  switch (input.byte()) {
    case 0:
      request.hasEngine = false;
      break;
    case 1:
      request.hasFeature = false;
      break;
    case 2:
      request.hasPixels = false;
      break;
    case 3:
      request.hasLandmarks = false;
      break;
    case 4:
      request.width = input.integer(-32768, 1);
      break;
    case 5:
      request.height = input.integer(-32768, 1);
      break;
    default:
      break;
  }
  return request;
}

// Whether the contract accepts the request.
bool isAccepted(const Request& request) {
  if (!request.hasPixels || !request.hasLandmarks) return false;
  if (request.width < 2 || request.height < 2 || request.landmarks()->count < 0) return false;
  int32_t kept = 0;
  for (int32_t i = 0; i < request.landmarks()->count; ++i) {
    const int32_t id = request.landmarks()->entries[i].id;
    if (id < 0 || id > 317) return false;
    if (id != 240 && id != 241 && id != 315 && id != 316) ++kept;
  }
  return kept == 25;
}

// The feature after a call, if every element is mark before.
std::vector<float> extracted(const Request& request, float mark,
                             PatchPlan plan = PatchPlan::kSharedFrames) {
  std::vector<float> feature(kFeatureFloats, mark);
  facefeature::ExtractFeature(request.hasEngine ? sharedEngine() : nullptr, request.pixels(),
                              request.width, request.height, request.stride, request.landmarks(),
                              request.hasFeature ? feature.data() : nullptr, plan);
  return feature;
}

void soilFaces(uint8_t fill) {
  FeatureEngine* engine = sharedEngine();
  std::memset(engine->grayFace, fill, sizeof engine->grayFace);
  std::memset(engine->colorFace, fill, sizeof engine->colorFace);
}

void checkRejected(const Request& request) {
  soilFaces(0xA5);
  const FeatureEngine before = *sharedEngine();
  const std::vector<float> feature = extracted(request, 12345.5f);
  requireSameBytes("the engine", reinterpret_cast<const uint8_t*>(&before),
                   reinterpret_cast<const uint8_t*>(sharedEngine()), sizeof before);
  const bool isWritten = request.hasEngine && request.hasFeature;
  for (size_t i = 0; i < feature.size(); ++i) {
    uint32_t bits;
    std::memcpy(&bits, &feature[i], sizeof bits);
    const bool isQuietNaN = std::isnan(feature[i]) && (bits & 0x00400000u) != 0;
    if (isWritten ? !isQuietNaN : feature[i] != 12345.5f) fail("a rejected feature", i);
  }
}

void requireFeature(const std::vector<float>& wanted, const Request& request, float mark,
                    PatchPlan plan = PatchPlan::kSharedFrames) {
  const std::vector<float> got = extracted(request, mark, plan);
  facefeature_fuzz::requireSameFloats("a feature", wanted.data(), got.data(), wanted.size());
}

void checkAccepted(Request& request, bool withOtherSets) {
  soilFaces(0x11);
  const std::vector<float> wanted = extracted(request, 1.0f);
  soilFaces(0xEE);
  const uint32_t word = 0x77777777u, nothing = 0;
  std::memcpy(&request.record[4], &word, sizeof word);
  requireFeature(wanted, request, 2.0f);
  std::memcpy(&request.record[4], &nothing, sizeof nothing);
  // These variants take several times as long, so only some of the requests use them.
  if (!withOtherSets) return;
  for (const facefeature::KernelSet* set : facefeature_test::runnableKernelSets()) {
    const facefeature_test::ScopedKernels active(*set);
    const bool isPlain = set == &facefeature::plainKernels();
    requireFeature(wanted, request, 3.0f,
                   isPlain ? PatchPlan::kPatchByPatch : PatchPlan::kSharedFrames);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  omp_set_num_threads(1);
  Input input(data, size);
  const bool withOtherSets = input.byte() % 4 == 0;
  Request request = anyRequest(input);
  const Bytes picture = request.picture, record = request.record;
  if (request.hasEngine && request.hasFeature && isAccepted(request)) {
    checkAccepted(request, withOtherSets);
  } else {
    checkRejected(request);
  }
  requireSameBytes("the picture", picture.data(), request.picture.data(), picture.size());
  requireSameBytes("the record", record.data(), request.record.data(), record.size());
  return 0;
}
