// Running a program and keeping all that a parent can see of it.
#ifndef FACEFEATURE_TESTS_HOST_CHILD_PROCESS_H
#define FACEFEATURE_TESTS_HOST_CHILD_PROCESS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace facefeature_test {

struct ChildResult {
  int exitStatus = -1;  // -1 when a signal ended it
  int signal = 0;       // 0 when it exited, as it always does on Windows
  std::string out;      // standard output, to the byte; on Windows with line ends as in C
  std::string err;

  // Whether abort() ended it.
  bool wasAborted() const;
};

// A variable without a value is taken out of the environment.
using Environment = std::map<std::string, std::optional<std::string>>;

// Runs the program to its end, in this process's environment with these changes. Throws
// std::runtime_error when it can't be started.
ChildResult runChild(const std::string& program, const std::vector<std::string>& arguments,
                     const Environment& changes);

}  // namespace facefeature_test

#endif
