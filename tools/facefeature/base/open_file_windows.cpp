// The Windows implementation, without lockFile(): only the journal of a list needs it.
#include <io.h>
#include <windows.h>

#include "base/open_file.h"

namespace facefeature_tools {

bool syncToDisk(std::FILE* file) {
  if (std::fflush(file) != 0) return false;
  // Pipes and consoles can't be synchronised.
  const int descriptor = _fileno(file);
  const HANDLE handle = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
  return GetFileType(handle) != FILE_TYPE_DISK || _commit(descriptor) == 0;
}

bool isTerminal(std::FILE* file) { return _isatty(_fileno(file)) != 0; }

}  // namespace facefeature_tools
