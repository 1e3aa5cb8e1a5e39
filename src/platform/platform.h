// Everything that the library asks of the operating system, with one .cpp for each system. No file
// outside of this folder depends on the system.
#ifndef FACEFEATURE_PLATFORM_PLATFORM_H
#define FACEFEATURE_PLATFORM_PLATFORM_H

#include <cstddef>
#include <fstream>
#include <string>

namespace facefeature {

// The separator between the parts of a path.
extern const char kPathSeparator;

// Maximum length of the path of an engine file. A longer path terminates the process.
extern const size_t kLongestEngineFilePath;

// The temporary folder with a trailing separator: the result of GetTempPathA on Windows, elsewhere
// $TMPDIR, or /tmp if that is unset or empty. On Windows a result of 256 bytes or more is
// discarded, and the text is empty.
std::string temporaryFolder();

// Ends the process at once, as the system's runtime does if a text does not fit its buffer: nothing
// is printed, no exception leaves the library, and no exit handler runs.
[[noreturn]] void abortOnFailedCheck();

// Opens a file for binary reading, shared with readers and writers, replacing whatever the stream
// had open; clears its error state. Returns false if the file can't be opened; a folder can't.
bool openSharedForReading(std::ifstream& stream, const std::string& path);

// Keeps the OpenMP runtime in the process even if this library is unloaded: its worker threads
// outlive a parallel loop and wait inside its code. Called at each creation of an engine. On
// Windows the runtime is part of this library, and this does nothing.
void keepOpenMpRuntimeLoaded();

// Called when an engine has been created, which may start worker threads. On Windows the library
// holds a reference to itself from then until releaseOpenMpWorkers.
void expectOpenMpWorkers();

// Ends the worker threads that the runtime keeps for the calling thread, so that none remain for a
// host that unloads the library. Does nothing in a child of a process that had created an engine:
// the runtime may believe in threads that do not exist in the child, and would wait for them
// forever. Threads that the child has started itself then remain until it exits.
void releaseOpenMpWorkers();

}  // namespace facefeature

#endif
