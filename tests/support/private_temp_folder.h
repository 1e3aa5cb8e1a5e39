// A temporary folder of this test program's own.
//
// The model folder is derived from the temporary folder once, before main: so the program's own
// folder is made and put into the environment ahead of all ordinary initialisers, and is removed
// when the program ends. A death test's child, started anew, gets its parent's.
#ifndef FACEFEATURE_TESTS_SUPPORT_PRIVATE_TEMP_FOLDER_H
#define FACEFEATURE_TESTS_SUPPORT_PRIVATE_TEMP_FOLDER_H

#include <string>

namespace facefeature_test {

// The folder, without a separator at its end.
std::string privateTempFolder();

}  // namespace facefeature_test

#endif
