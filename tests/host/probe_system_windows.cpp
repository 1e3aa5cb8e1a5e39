#include <windows.h>
// Needs the types of the header above. With this version the function is in KERNEL32.
#define PSAPI_VERSION 2
#include <psapi.h>

#include <stdexcept>

#include "host/probe_system.h"
#include "support/tasks.h"

namespace facefeature_test {

// The parent ends a child that hangs.
void prepareProcess() { SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX); }

std::string threadCount() { return std::to_string(taskCount()); }

std::string residentKibibytes() {
  PROCESS_MEMORY_COUNTERS counters = {};
  if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) == 0) {
    throw std::runtime_error("the system doesn't tell how much memory is in use");
  }
  return std::to_string(counters.WorkingSetSize / 1024);
}

std::string forkAndWait() { throw std::runtime_error("no process can be forked here"); }

void reserveAddresses(size_t bytes) {
  if (VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_READONLY) == nullptr) {
    throw std::runtime_error("no addresses to take");
  }
}

void* openSymbol(const std::string& /*library*/, const std::string& /*name*/) {
  throw std::runtime_error("no library sees another one's names here");
}

}  // namespace facefeature_test
