// What verbs that take a photograph have in common on the command line.
#ifndef FACEFEATURE_TOOLS_VERBS_COMMAND_FACE_H
#define FACEFEATURE_TOOLS_VERBS_COMMAND_FACE_H

#include <CLI/CLI.hpp>
#include <cstddef>

#include "face/face_input.h"

namespace facefeature_tools {

// Each adds its option to a verb; the target, which keeps what it holds where the option is not
// given, outlives the parse.
void addExif(CLI::App& verb, ExifRule& rule);
CLI::Option* addFace(CLI::App& verb, size_t& face);

}  // namespace facefeature_tools

#endif
