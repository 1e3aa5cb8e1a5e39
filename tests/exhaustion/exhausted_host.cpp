#include "exhaustion/exhausted_host.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>

#include "support/model_folder.h"
#include "support/private_temp_folder.h"
#include "support/synthetic_folder.h"

namespace facefeature_test {
namespace {

constexpr uint32_t kSeed = 4;
constexpr unsigned kSecondsToLive = 300;
constexpr float kUnwritten = 12345.5f;

void haveModel() {
  static bool written = false;
  if (written) return;
  clearModelFolder();
  writeSyntheticModel(modelFolder(), kSeed);
  written = true;
}

[[noreturn]] void liveAsChild(const std::function<std::string()>& work, const std::string& err) {
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  alarm(kSecondsToLive);
  const int file = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(file, STDERR_FILENO);
  close(file);
  const std::string fault = work();
  std::fputs(fault.c_str(), stderr);
  // Without this test program's own shutdown, which belongs to the parent.
  _exit(fault.empty() ? 0 : 3);
}

std::string contentOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

ChildEnd inChild(const std::function<std::string()>& work) {
  const std::string err = privateTempFolder() + "/child-err";
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) liveAsChild(work, err);
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return {-1, 0, "can't fork"};
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0,
          contentOf(err)};
}

void expectGoodEnd(const ChildEnd& end) {
  EXPECT_EQ(0, end.signal) << end.err;
  EXPECT_EQ(0, end.exitStatus) << end.err;
  EXPECT_EQ("", end.err);
}

void ExhaustedHost::SetUp() {
  // Keeps the 16 MB of a projection in the heap from attempt to attempt. Mapping fresh pages each
  // time would take most of a test's time.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  haveModel();
  library.load();
  FeatureEngine* const engine = library.create();
  ASSERT_NE(nullptr, engine);
  ASSERT_EQ(Ending::kDone, extract(engine));
  goodFeature = feature;
  library.destroy(engine);
}

void ExhaustedHost::TearDown() { library.unload(); }

Ending ExhaustedHost::create(FeatureEngine*& engine, MemorySource source, int64_t failing,
                             FailingFor length) const {
  try {
    const FailingMemory memory(source, failing, length);
    engine = library.create();
  } catch (const std::bad_alloc&) {
    return Ending::kOutOfMemory;
  }
  return engine == nullptr ? Ending::kNull : Ending::kDone;
}

Ending ExhaustedHost::extract(FeatureEngine* engine, MemorySource source, int64_t failing,
                              FailingFor length) {
  clearFeature();
  try {
    const FailingMemory memory(source, failing, length);
    library.extract(engine, request.pixels.data(), request.width, request.height, request.stride,
                    request.landmarks(), feature.values);
  } catch (const std::bad_alloc&) {
    return Ending::kOutOfMemory;
  }
  return Ending::kDone;
}

std::string ExhaustedHost::faultOfAnotherRound() {
  FeatureEngine* engine = nullptr;
  if (create(engine) != Ending::kDone) return "no engine after the failure\n";
  const std::string fault = faultOfAnotherExtraction(engine);
  library.destroy(engine);
  return fault;
}

std::string ExhaustedHost::faultOfAnotherExtraction(FeatureEngine* engine) {
  if (extract(engine) != Ending::kDone) return "no feature after the failure\n";
  const bool same = std::memcmp(&feature, &goodFeature, sizeof feature) == 0;
  return same ? "" : "another feature after the failure\n";
}

void ExhaustedHost::clearFeature() {
  std::fill(std::begin(feature.values), std::end(feature.values), kUnwritten);
}

bool ExhaustedHost::featureIsClear() const {
  return std::all_of(std::begin(feature.values), std::end(feature.values),
                     [](float value) { return value == kUnwritten; });
}

int64_t openFiles() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return std::distance(begin(entries), end(entries));
}

}  // namespace facefeature_test
