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

}  // namespace facefeature_test
