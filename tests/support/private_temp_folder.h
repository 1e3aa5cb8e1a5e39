// A temporary folder for this test program alone.
//
// The model folder is derived from the temporary folder once, before main. So the program's own
// folder is created and put into the environment before all ordinary initialisers, and is removed
// when the program ends. The restarted child of a death test uses its parent's.
#ifndef FACEFEATURE_TESTS_SUPPORT_PRIVATE_TEMP_FOLDER_H
#define FACEFEATURE_TESTS_SUPPORT_PRIVATE_TEMP_FOLDER_H

#include <string>

namespace facefeature_test {

// The folder, without a trailing separator.
std::string privateTempFolder();

}  // namespace facefeature_test

#endif
