// What a process holds of the system, as the system tells it.
#ifndef FACEFEATURE_TESTS_SOAK_PROCESS_STATE_H
#define FACEFEATURE_TESTS_SOAK_PROCESS_STATE_H

#include <cstdint>

namespace facefeature_test {

struct ProcessState {
  int64_t ownKiB;  // resident memory that no file stands behind; code comes and goes with its use
  int64_t threads;
  int64_t openFiles;
};

// Throws std::runtime_error where the system doesn't tell.
ProcessState processState();

}  // namespace facefeature_test

#endif
