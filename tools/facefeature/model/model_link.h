// Where the library looks for its model, and how to make it read another folder.
//
// The library reads a folder of a fixed name inside the temporary folder. It asks for the temporary
// folder once, when it is loaded. A program that wants another model therefore sets the temporary
// folder of its own process before it loads the library.
#ifndef FACEFEATURE_TOOLS_MODEL_MODEL_LINK_H
#define FACEFEATURE_TOOLS_MODEL_MODEL_LINK_H

#include <string>

namespace facefeature_tools {

// The fixed name.
constexpr char kModelFolderName[] = "~kwplugintmp~";

// The folder that the library would read if it were loaded now.
std::string libraryModelFolder();

// Makes the library read a model folder for as long as the object lives. The constructor sets
// TMPDIR: to the folder's parent where the folder bears the fixed name, otherwise to a new private
// folder that holds a link of that name. That private folder goes with the object, and also when
// the process is ended by SIGINT, SIGTERM, SIGHUP or SIGQUIT, or by exit(). TMPDIR stays as it
// was set. On Windows the variable is TMP, the private folder holds hard links to the files, or
// copies, and in the place of the signals stand the endings that a console tells of.
//
// One object at a time: a signal handler finds the paths in static memory.
class ModelLink {
 public:
  // Throws Failure: kBadModel when the folder does not exist, kFailed when no private folder can
  // be made.
  explicit ModelLink(const std::string& modelFolder);
  ~ModelLink();
  ModelLink(const ModelLink&) = delete;
  ModelLink& operator=(const ModelLink&) = delete;
};

}  // namespace facefeature_tools

#endif
