// peers_net_stage INPUTS OUTPUTS SECONDS
//
// One turn of this library in the comparison of bench/peers. Runs the 25 nets on the matrices of
// the file INPUTS for about SECONDS seconds, prints the time per run as a line of JSON, and writes
// the nets' outputs in the last run, 320 floats each, to the file OUTPUTS. TMPDIR and
// OMP_NUM_THREADS have their usual meanings.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <ios>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "engine/feature_engine.h"
#include "engine/model_state.h"
#include "engine/net_features.h"
#include "geometry/patch_table.h"
#include "kernels/matrix.h"
#include "net/conv_net.h"

namespace {

using facefeature::ConvNet;
using facefeature::FeatureEngine;
using facefeature::kPatchCount;
using facefeature::Matrix;

constexpr int32_t kSampleRows = 2;
constexpr int32_t kWarmUpRuns = 5;
constexpr size_t kFewestRuns = 5;
constexpr int32_t kOutputFloats = 320;

// One matrix per patch, as ExtractFeature allocates them.
using Samples = std::vector<std::unique_ptr<Matrix>>;

Samples readSamples(const char* path) {
  std::ifstream file(path, std::ios::binary);
  Samples samples;
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    samples.push_back(std::make_unique<Matrix>(kSampleRows, facefeature::sampleLength(patch)));
    const Matrix& sample = *samples.back();
    file.read(reinterpret_cast<char*>(sample.buffer), std::streamsize{4} * sample.size);
  }
  if (!file || file.peek() != std::ifstream::traits_type::eof()) {
    throw std::runtime_error(std::string(path) + ": not the samples of these nets");
  }
  return samples;
}

double milliseconds() {
  using Milliseconds = std::chrono::duration<double, std::milli>;
  return Milliseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::vector<double> timedRuns(ConvNet* const* nets, const Samples& samples, double seconds) {
  std::vector<Matrix*> matrices;
  for (const std::unique_ptr<Matrix>& sample : samples) matrices.push_back(sample.get());
  std::vector<float> features(facefeature::kPatchFeatureFloats);

  for (int32_t i = 0; i < kWarmUpRuns; ++i) facefeature::runNets(nets, matrices, features.data());
  std::vector<double> times;
  const double end = milliseconds() + 1000.0 * seconds;
  while (times.size() < kFewestRuns || milliseconds() < end) {
    const double start = milliseconds();
    facefeature::runNets(nets, matrices, features.data());
    times.push_back(milliseconds() - start);
  }
  std::sort(times.begin(), times.end());
  return times;
}

// The outputs are read from the nets' last layers, because runNets scales its copies to unit
// length.
void writeOutputs(ConvNet* const* nets, const char* path) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  for (int32_t i = 0; i < kPatchCount; ++i) {
    const Matrix& output = *nets[i]->layers.back()->getActivations();
    if (output.size != kOutputFloats) throw std::runtime_error("a net of another width");
    file.write(reinterpret_cast<const char*>(output.buffer), std::streamsize{4} * kOutputFloats);
  }
  file.close();
  if (!file) throw std::runtime_error(std::string(path) + ": can't be written");
}

void takeTurn(const char* inputs, const char* outputs, double seconds) {
  const Samples samples = readSamples(inputs);
  FeatureEngine* const engine = facefeature::CreateFeatureEngine();
  if (engine == nullptr) throw std::runtime_error("there is no model below TMPDIR");
  const std::vector<double> times = timedRuns(engine->nets, samples, seconds);
  writeOutputs(engine->nets, outputs);
  std::cout << "{\"minimum\":" << times.front() << ",\"median\":" << times[times.size() / 2]
            << ",\"runs\":" << times.size() << "}\n";
  facefeature::DestroyFeatureEngine(engine);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "peers_net_stage INPUTS OUTPUTS SECONDS\n";
    return 2;
  }
  try {
    takeTurn(argv[1], argv[2], std::atof(argv[3]));
  } catch (const std::exception& error) {
    std::cerr << "peers_net_stage: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
