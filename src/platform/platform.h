// Everything the operating system is asked for. One .cpp a system; outside of this folder no file
// knows which it is.
#ifndef FACEFEATURE_PLATFORM_PLATFORM_H
#define FACEFEATURE_PLATFORM_PLATFORM_H

#include <cstddef>
#include <fstream>
#include <string>

namespace facefeature {

// Between the parts of a path, as the system writes it.
extern const char kPathSeparator;

// So many characters has the path of an engine's file at most; one that is longer ends the process.
extern const size_t kLongestEngineFilePath;

// The temporary folder with a separator at its end: GetTempPathA's answer on Windows, elsewhere
// $TMPDIR, or /tmp where that is unset or empty. On Windows an answer of 256 bytes or more is lost,
// and the text is empty.
std::string temporaryFolder();

// Ends the process at once, as the system's runtime does when a text does not fit its buffer:
// nothing is printed, no exception leaves the library, nothing that was registered for the end
// runs.
[[noreturn]] void endByFailedCheck();

// Opens a file for binary reading, shared with readers and writers, in place of whatever the stream
// had open; its error state is cleared. False when it can't be opened; a folder can't.
bool openSharedForReading(std::ifstream& stream, const std::string& path);

// Keeps the OpenMP runtime in the process even when this library is unloaded: its worker threads
// outlive a parallel loop and wait inside its code. Called with each creation of an engine. On
// Windows the runtime is a part of this library, and nothing is done.
void keepOpenMpRuntimeLoaded();

// Called when an engine has been created, which may start worker threads. On Windows the library
// holds itself from then on, until releaseOpenMpWorkers.
void expectOpenMpWorkers();

// Ends the worker threads that the runtime keeps for the calling thread, so that a host that
// unloads the library has none left. Does nothing in a child of a process that had created an
// engine: the runtime may believe in threads that did not follow it there, and would wait for them
// for ever. Threads that the child has started itself then stay until it ends.
void releaseOpenMpWorkers();

}  // namespace facefeature

#endif
