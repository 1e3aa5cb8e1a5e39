#include "soak/process_state.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace facefeature_test {
namespace {

int64_t entriesOf(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  return std::distance(begin(entries), end(entries));
}

int64_t ownMemory() {
  const std::string key = "RssAnon:";
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, key.size(), key) == 0) return std::atoll(line.c_str() + key.size());
  }
  throw std::runtime_error("the system doesn't tell " + key);
}

}  // namespace

ProcessState processState() {
  return {ownMemory(), entriesOf("/proc/self/task"), entriesOf("/proc/self/fd")};
}

}  // namespace facefeature_test
