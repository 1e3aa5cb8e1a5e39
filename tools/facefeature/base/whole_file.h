// Reading and writing whole files, with words for what goes wrong.
#ifndef FACEFEATURE_TOOLS_BASE_WHOLE_FILE_H
#define FACEFEATURE_TOOLS_BASE_WHOLE_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace facefeature_tools {

// All bytes of a file. Throws Failure (kBadInput) when it can't be read or has more than limit
// bytes; remedy is then the advice of that message. Never reads more than limit bytes, so that a
// device without end is refused too.
std::vector<uint8_t> readWholeFile(const std::string& path, size_t limit,
                                   const std::string& remedy);

// Writes count bytes, replacing what the file held. Throws Failure (kFailed).
void writeWholeFile(const std::string& path, const uint8_t* bytes, size_t count);

}  // namespace facefeature_tools

#endif
