// What the C library can't do with an open file and the system can.
#ifndef FACEFEATURE_TOOLS_BASE_OPEN_FILE_H
#define FACEFEATURE_TOOLS_BASE_OPEN_FILE_H

#include <cstdio>

namespace facefeature_tools {

// Sees what was written to the disk, the C library's buffer included. False with errno when it
// can't be written.
bool syncToDisk(std::FILE* file);

// Makes the file this process's own until it is closed. False when another process has it.
bool lockFile(std::FILE* file);

// Is it a terminal that a person looks at?
bool isTerminal(std::FILE* file);

}  // namespace facefeature_tools

#endif
