#include "host/probe_system.h"

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

// The number behind this word in the system's account of the process.
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

}  // namespace facefeature_test
