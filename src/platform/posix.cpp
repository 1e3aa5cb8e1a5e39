#include <dlfcn.h>
#include <omp.h>
#include <sys/stat.h>

#include <cstdlib>

#include "platform/platform.h"

namespace facefeature {

const char kPathSeparator = '/';

std::string temporaryFolder() {
  const char* set = std::getenv("TMPDIR");
  std::string folder = set != nullptr && *set != '\0' ? set : "/tmp";
  if (folder.back() != kPathSeparator) folder += kPathSeparator;
  return folder;
}

bool openSharedForReading(std::ifstream& stream, const std::string& path) {
  stream.close();
  stream.clear();
  // A folder opens like a file here and fails only when it is read.
  struct stat status;
  if (stat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) return false;
  stream.open(path, std::ios::in | std::ios::binary);
  return stream.is_open();
}

void keepOpenMpRuntimeLoaded() {
  Dl_info runtime;
  if (dladdr(reinterpret_cast<void*>(&omp_get_max_threads), &runtime) == 0) return;
  void* handle = dlopen(runtime.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
  if (handle != nullptr) dlclose(handle);
}

}  // namespace facefeature
