// Takes rights that a worker process does not need away from it.
#ifndef FACEFEATURE_TOOLS_SERVICE_WORKER_SANDBOX_H
#define FACEFEATURE_TOOLS_SERVICE_WORKER_SANDBOX_H

#include <cstddef>

namespace facefeature_tools {

// Whether this program was built with a sandbox.
bool hasSandbox();

// From now on, this process can use memory that is not executable, read and write the descriptors
// that are open, and exit. Any other system call ends it with SIGSYS: it can't open files, start
// processes or threads, signal other processes, or reach a network. This can't be undone. Throws
// Failure (kFailed) if the system refuses.
//
// REQUIRES: hasSandbox(), and a process with one thread that needs no more files.
void enterSandbox();

// Limits the address space of this process. An allocation beyond the limit fails. 0: no limit. Does
// nothing in a build with an address sanitizer, which reserves terabytes.
void limitMemory(size_t bytes);

}  // namespace facefeature_tools

#endif
