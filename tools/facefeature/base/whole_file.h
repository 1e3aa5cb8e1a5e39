// Reads and writes whole files, with messages for every error.
#ifndef FACEFEATURE_TOOLS_BASE_WHOLE_FILE_H
#define FACEFEATURE_TOOLS_BASE_WHOLE_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace facefeature_tools {

// All bytes of a file. Throws Failure (kBadInput), with remedy as the advice of its message, if the
// file can't be read or has more than limit bytes. Never reads more than limit + 1 bytes, so that
// an endless device is rejected too.
std::vector<uint8_t> readWholeFile(const std::string& path, size_t limit,
                                   const std::string& remedy);

// Writes count bytes, replacing the file's content. Throws Failure (kFailed).
void writeWholeFile(const std::string& path, const uint8_t* bytes, size_t count);

}  // namespace facefeature_tools

#endif
