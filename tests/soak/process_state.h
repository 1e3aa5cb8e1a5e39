// Resources that a process holds, as reported by the system.
#ifndef FACEFEATURE_TESTS_SOAK_PROCESS_STATE_H
#define FACEFEATURE_TESTS_SOAK_PROCESS_STATE_H

#include <cstdint>

namespace facefeature_test {

struct ProcessState {
  int64_t ownKiB;  // resident memory without a file behind it; resident code varies with its use
  int64_t threads;
  int64_t openFiles;
};

// Throws std::runtime_error if the system does not report them.
ProcessState processState();

}  // namespace facefeature_test

#endif
