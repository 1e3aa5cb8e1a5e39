#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <omp.h>
#include <windows.h>

#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/platform.h"

namespace facefeature {

namespace {

// The buffer size for GetTempPathA, which does not write to the buffer if the path is longer.
constexpr DWORD kTemporaryPathBytes = 256;

// [STATE] The loader's handle of this library, held while worker threads of the OpenMP runtime may
// be waiting in its code; null otherwise.
HMODULE heldLibrary = nullptr;

}  // namespace

const char kPathSeparator = '\\';

// The names are built in buffers of MAX_PATH bytes, including the terminating NUL.
const size_t kLongestEngineFilePath = MAX_PATH - 1;

std::string temporaryFolder() {
  // Initialised, so that a path that is too long reads as one without a separator.
  char buffer[kTemporaryPathBytes] = "";
  GetTempPathA(kTemporaryPathBytes, buffer);
  return buffer;
}

bool openSharedForReading(std::ifstream& stream, const std::string& path) {
  stream.close();
  stream.clear();
  // The runtime's streams share the file for all access, and do not open folders.
  stream.open(path, std::ios::in | std::ios::binary);
  return stream.is_open();
}

void abortOnFailedCheck() {
  // The status of a process that a check of the runtime has ended.
  TerminateProcess(GetCurrentProcess(), 0xC0000409u);
  std::abort();
}

// The runtime is linked into this library and is unloaded with it.
void keepOpenMpRuntimeLoaded() {}

void expectOpenMpWorkers() {
  if (heldLibrary != nullptr) return;
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                     reinterpret_cast<const char*>(&heldLibrary), &heldLibrary);
}

void releaseOpenMpWorkers() {
#if !defined(_MSC_VER)
  // Returns when the threads have ended. MSVC's runtime is a separate DLL, which ends its threads
  // itself and has no such function.
  omp_pause_resource_all(omp_pause_hard);
#endif
  if (heldLibrary == nullptr) return;
  // The host's own reference keeps this code loaded.
  const HMODULE held = heldLibrary;
  heldLibrary = nullptr;
  FreeLibrary(held);
}

}  // namespace facefeature
