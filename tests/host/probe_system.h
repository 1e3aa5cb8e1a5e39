// What the probe asks of the system beside the library.
#ifndef FACEFEATURE_TESTS_HOST_PROBE_SYSTEM_H
#define FACEFEATURE_TESTS_HOST_PROBE_SYSTEM_H

#include <string>

namespace facefeature_test {

// A step that crashes leaves no dump and opens no window, and one that hangs ends the process.
void prepareProcess();

std::string threadCount();
std::string residentKibibytes();

// Forks. In the child: "child". In the parent: waits for the child's end, and "0", another exit
// status, or "died". Throws std::runtime_error where a process can't be forked.
std::string forkAndWait();

}  // namespace facefeature_test

#endif
