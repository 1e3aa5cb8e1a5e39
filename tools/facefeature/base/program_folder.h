#ifndef FACEFEATURE_TOOLS_BASE_PROGRAM_FOLDER_H
#define FACEFEATURE_TOOLS_BASE_PROGRAM_FOLDER_H

#include <string>

namespace facefeature_tools {

// The folder of the executable of this process, with links resolved. Empty if the system does not
// report it, on Windows also if the path is longer than MAX_PATH.
std::string programFolder();

}  // namespace facefeature_tools

#endif
