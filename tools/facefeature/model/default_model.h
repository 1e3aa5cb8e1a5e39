// Which model a verb uses if the user does not name one.
#ifndef FACEFEATURE_TOOLS_MODEL_DEFAULT_MODEL_H
#define FACEFEATURE_TOOLS_MODEL_DEFAULT_MODEL_H

#include <string>

namespace facefeature_tools {

// For the help text of an option or argument that names a model folder.
constexpr char kModelFolderHelp[] =
    "Folder with the 303 files of a model. Default: ~kwplugintmp~ in the temporary folder if it "
    "exists, else the model that comes with the program";

// The model that is installed with a program in this folder: models/portraits in the program's
// folder (a build folder, the ZIP package for Windows), or ../share/facefeature/models/portraits
// (an install tree). Empty if neither exists.
std::string shippedModelFolder(const std::string& programFolder);

// The model folder of a request: `named` unless it is empty; else the folder that the library reads
// by default, if something with that name exists; else the model that is installed with this
// program. If that does not exist either, returns the library's folder, so that a message can name
// it.
std::string chosenModelFolder(const std::string& named);

}  // namespace facefeature_tools

#endif
