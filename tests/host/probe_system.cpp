#include "host/probe_system.h"

#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace facefeature_test {
namespace {

constexpr unsigned kSecondsToLive = 300;

// The number after this keyword in the system's status file of the process.
std::string ownStatus(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, key.size(), key) == 0) {
      return std::to_string(std::strtol(line.c_str() + key.size(), nullptr, 10));
    }
  }
  throw std::runtime_error("the system doesn't tell " + key);
}

}  // namespace

void prepareProcess() {
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
  alarm(kSecondsToLive);
}

std::string threadCount() { return ownStatus("Threads:"); }
std::string residentKibibytes() { return ownStatus("VmRSS:"); }

std::string forkAndWait() {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("can't fork");
  if (child == 0) {
    alarm(kSecondsToLive);
    return "child";
  }
  int status = 0;
  if (waitpid(child, &status, 0) != child) throw std::runtime_error("can't wait for the child");
  return WIFEXITED(status) ? std::to_string(WEXITSTATUS(status)) : "died";
}

void reserveAddresses(size_t bytes) {
  if (mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0) ==
      MAP_FAILED) {
    throw std::runtime_error("no addresses to take");
  }
}

void* openSymbol(const std::string& library, const std::string& name) {
  void* const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_GLOBAL);
  void* const symbol = handle == nullptr ? nullptr : dlsym(handle, name.c_str());
  if (symbol == nullptr) throw std::runtime_error(dlerror());
  return symbol;
}

}  // namespace facefeature_test
