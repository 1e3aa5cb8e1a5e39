// Operations on open files that the C library lacks and the system has.
#ifndef FACEFEATURE_TOOLS_BASE_OPEN_FILE_H
#define FACEFEATURE_TOOLS_BASE_OPEN_FILE_H

#include <cstdio>

namespace facefeature_tools {

// Waits until everything written is on the disk, including the C library's buffer. Returns false
// and sets errno on failure.
bool syncToDisk(std::FILE* file);

// Locks the file for this process until it is closed. Returns false if another process holds the
// lock.
bool lockFile(std::FILE* file);

// Whether the file is a terminal.
bool isTerminal(std::FILE* file);

}  // namespace facefeature_tools

#endif
