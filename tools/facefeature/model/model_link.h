// The folder from which the library reads its model, and how to make it read another one.
//
// The library reads a folder with a fixed name inside the temporary folder. It asks for the
// temporary folder once, when it is loaded. A program that wants another model therefore sets the
// temporary folder of its own process before it loads the library.
#ifndef FACEFEATURE_TOOLS_MODEL_MODEL_LINK_H
#define FACEFEATURE_TOOLS_MODEL_MODEL_LINK_H

#include <string>

namespace facefeature_tools {

// The fixed name.
constexpr char kModelFolderName[] = "~kwplugintmp~";

// The folder that the library would read if it were loaded now.
std::string libraryModelFolder();

// Makes the library read a model folder for the lifetime of the object. The constructor sets
// TMPDIR: to the folder's parent if the folder has the fixed name, otherwise to a new private
// folder that holds a link of that name. The private folder is removed with the object, and also if
// the process ends by SIGINT, SIGTERM, SIGHUP or SIGQUIT, or by exit(). TMPDIR keeps its new value.
// On Windows the variable is TMP, the private folder holds hard links to the files, or copies, and
// console events take the role of the signals.
//
// One object at a time: a signal handler finds the paths in static memory.
class ModelLink {
 public:
  // Throws Failure: kBadModel if the folder does not exist, kFailed if no private folder can be
  // created.
  explicit ModelLink(const std::string& modelFolder);
  ~ModelLink();
  ModelLink(const ModelLink&) = delete;
  ModelLink& operator=(const ModelLink&) = delete;
};

}  // namespace facefeature_tools

#endif
