// Runs a program and records everything that a parent can see of it.
#ifndef FACEFEATURE_TESTS_HOST_CHILD_PROCESS_H
#define FACEFEATURE_TESTS_HOST_CHILD_PROCESS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace facefeature_test {

struct ChildResult {
  int exitStatus = -1;  // -1 if a signal ended it
  int signal = 0;       // 0 if it exited, as it always does on Windows
  std::string out;      // standard output, byte for byte; on Windows with C line ends
  std::string err;

  // Whether abort() ended it.
  bool wasAborted() const;
};

// A variable without a value is removed from the environment.
using Environment = std::map<std::string, std::optional<std::string>>;

// Runs the program until it exits, in this process's environment with these changes. Throws
// std::runtime_error if it can't be started.
ChildResult runChild(const std::string& program, const std::vector<std::string>& arguments,
                     const Environment& changes);

}  // namespace facefeature_test

#endif
