// Linked into a second build of the probe. Every request to the system that names a model file, to
// open it or to query it, passes through here and is recorded as "MODE PATH" in the file that
// OPEN_RECORD names.
//
// A program's own functions take precedence over those of its libraries, so the C++ streams of the
// library under test call these.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

template <typename Function>
Function nextFunction(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

int reallyOpen(const char* path, int flags, mode_t mode) {
  return nextFunction<int (*)(const char*, int, ...)>("open")(path, flags, mode);
}

void record(const char* mode, const char* path) {
  const char* const file = std::getenv("OPEN_RECORD");
  if (file == nullptr || std::strstr(path, "~kwplugintmp~") == nullptr) return;
  const std::string line = std::string(mode) + " " + path + "\n";
  const int descriptor = reallyOpen(file, O_WRONLY | O_CREAT | O_APPEND, 0600);
  if (descriptor < 0 || write(descriptor, line.data(), line.size()) < 0) std::abort();
  close(descriptor);
}

int recordedOpen(const char* name, const char* path, int flags, mode_t mode) {
  record((flags & O_ACCMODE) == O_RDONLY && (flags & (O_CREAT | O_TRUNC)) == 0 ? "read" : "write",
         path);
  return nextFunction<int (*)(const char*, int, ...)>(name)(path, flags, mode);
}

FILE* recordedFopen(const char* name, const char* path, const char* mode) {
  record(std::strcmp(mode, "rb") == 0 ? "read" : mode, path);
  return nextFunction<FILE* (*)(const char*, const char*)>(name)(path, mode);
}

template <typename Status>
int recordedStat(const char* name, const char* path, Status* status) {
  record("read", path);
  return nextFunction<int (*)(const char*, Status*)>(name)(path, status);
}

mode_t modeOf(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
}

}  // namespace

#define RECORDED extern "C" __attribute__((visibility("default")))

// The headers would redirect one of each pair to the other.
#undef open
#undef fopen
#undef stat

RECORDED FILE* fopen(const char* path, const char* mode) {
  return recordedFopen("fopen", path, mode);
}

RECORDED FILE* fopen64(const char* path, const char* mode) {
  return recordedFopen("fopen64", path, mode);
}

RECORDED int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeOf(flags, arguments);
  va_end(arguments);
  return recordedOpen("open", path, flags, mode);
}

RECORDED int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = modeOf(flags, arguments);
  va_end(arguments);
  return recordedOpen("open64", path, flags, mode);
}

RECORDED int stat(const char* path, struct stat* status) {
  return recordedStat("stat", path, status);
}

RECORDED int stat64(const char* path, struct stat64* status) {
  return recordedStat("stat64", path, status);
}
