#include <dlfcn.h>
#include <omp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>

#include "platform/platform.h"

namespace facefeature {

namespace {

// [STATE] The process that created the first engine, or 0.
pid_t creatingProcess = 0;

}  // namespace

const char kPathSeparator = '/';

// There is no buffer of a fixed size.
const size_t kLongestEngineFilePath = std::numeric_limits<size_t>::max();

std::string temporaryFolder() {
  const char* set = std::getenv("TMPDIR");
  std::string folder = set != nullptr && *set != '\0' ? set : "/tmp";
  if (folder.back() != kPathSeparator) folder += kPathSeparator;
  return folder;
}

bool openSharedForReading(std::ifstream& stream, const std::string& path) {
  stream.close();
  stream.clear();
  // Here a folder opens like a file and fails only when it is read.
  struct stat status;
  if (stat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) return false;
  stream.open(path, std::ios::in | std::ios::binary);
  return stream.is_open();
}

void abortOnFailedCheck() { std::abort(); }

void keepOpenMpRuntimeLoaded() {
  Dl_info runtime;
  if (dladdr(reinterpret_cast<void*>(&omp_get_max_threads), &runtime) == 0) return;
  void* handle = dlopen(runtime.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  if (handle != nullptr) dlclose(handle);
}

void expectOpenMpWorkers() {
  // The first one is kept. In a child that creates an engine of its own the runtime may still
  // believe in the parent's worker threads, and would wait for them at the destruction.
  if (creatingProcess == 0) creatingProcess = getpid();
}

void releaseOpenMpWorkers() {
  if (creatingProcess == getpid()) omp_pause_resource_all(omp_pause_hard);
}

}  // namespace facefeature
