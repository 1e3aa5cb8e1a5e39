// The Windows implementation. A mapped file can't be replaced there; a program that tries gets an
// error.
#include <windows.h>

#include <filesystem>
#include <system_error>

#include "base/failure.h"
#include "base/mapped_file.h"

namespace facefeature_tools {
namespace {

std::string lastErrorMessage() {
  return std::error_code(static_cast<int>(GetLastError()), std::system_category()).message();
}

const void* mapped(HANDLE file) {
  const HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
  if (mapping == nullptr) return nullptr;
  const void* const memory = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
  const DWORD error = GetLastError();
  // The view outlives the handle.
  CloseHandle(mapping);
  SetLastError(error);
  return memory;
}

}  // namespace

MappedFile::MappedFile(const std::string& path, const std::string& remedy) {
  // A folder can't be opened like this; the error would be reported as missing rights.
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    throw Failure(kBadInput, path, "is not a regular file", remedy);
  }
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    throw Failure(kBadInput, path, "can't be opened: " + lastErrorMessage(), remedy);
  }
  LARGE_INTEGER size = {};
  if (GetFileType(file) != FILE_TYPE_DISK || GetFileSizeEx(file, &size) == 0) {
    CloseHandle(file);
    throw Failure(kBadInput, path, "is not a regular file", remedy);
  }
  size_ = static_cast<size_t>(size.QuadPart);
  bytes_ = size_ == 0 ? nullptr : static_cast<const uint8_t*>(mapped(file));
  const std::string message = lastErrorMessage();
  CloseHandle(file);
  if (size_ != 0 && bytes_ == nullptr) {
    throw Failure(kBadInput, path, "can't be mapped: " + message, remedy);
  }
}

MappedFile::~MappedFile() {
  if (bytes_ != nullptr) UnmapViewOfFile(bytes_);
}

}  // namespace facefeature_tools
