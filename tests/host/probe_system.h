// System calls that the probe needs besides the library.
#ifndef FACEFEATURE_TESTS_HOST_PROBE_SYSTEM_H
#define FACEFEATURE_TESTS_HOST_PROBE_SYSTEM_H

#include <cstddef>
#include <string>

namespace facefeature_test {

// A step that crashes leaves no dump and opens no window, and one that hangs ends the process.
void prepareProcess();

std::string threadCount();
std::string residentKibibytes();

// Forks. Returns "child" in the child. In the parent, waits for the child to end and returns "0",
// another exit status, or "died". Throws std::runtime_error if the process can't be forked.
std::string forkAndWait();

// Reserves this many bytes of address space permanently, without memory. Throws std::runtime_error
// if there is no space.
void reserveAddresses(size_t bytes);

// Loads a library permanently, with its symbols visible to all that are loaded later, and returns
// the address of one of them. Throws std::runtime_error with the loader's message, also on systems
// where symbols are never visible to other libraries.
void* openSymbol(const std::string& library, const std::string& name);

}  // namespace facefeature_test

#endif
