// What the probe asks of the system beside the library.
#ifndef FACEFEATURE_TESTS_HOST_PROBE_SYSTEM_H
#define FACEFEATURE_TESTS_HOST_PROBE_SYSTEM_H

#include <cstddef>
#include <string>

namespace facefeature_test {

// A step that crashes leaves no dump and opens no window, and one that hangs ends the process.
void prepareProcess();

std::string threadCount();
std::string residentKibibytes();

// Forks. In the child: "child". In the parent: waits for the child's end, and "0", another exit
// status, or "died". Throws std::runtime_error where a process can't be forked.
std::string forkAndWait();

// Takes so many bytes of the process's addresses, and no memory for them, for good. Throws
// std::runtime_error where there are none.
void reserveAddresses(size_t bytes);

// Loads a library with its names open to all that are loaded later, for good, and answers the
// address of one of them. Throws std::runtime_error with the loader's own words, and where names
// are never open to others.
void* openSymbol(const std::string& library, const std::string& name);

}  // namespace facefeature_test

#endif
