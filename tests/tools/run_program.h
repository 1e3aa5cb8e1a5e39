// Runs the built program as a shell would, and captures its output and exit code.
#ifndef FACEFEATURE_TESTS_TOOLS_RUN_PROGRAM_H
#define FACEFEATURE_TESTS_TOOLS_RUN_PROGRAM_H

#if defined(_WIN32)
#include "host/child_process.h"
#else
#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/private_temp_folder.h"

namespace facefeature_test {

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline void writeText(const std::string& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  file.close();
  if (!file) throw std::runtime_error("can't write " + path);
}

struct Outcome {
  int exitCode = -1;  // -1 if a signal ended it
  int signal = 0;
  std::string out;
  std::string err;
};

#if defined(_WIN32)

inline Outcome runProgram(const std::vector<std::string>& arguments,
                          const std::string& temporaryFolder = privateTempFolder(),
                          const std::string& program = FACEFEATURE_PROGRAM) {
  const ChildResult result = runChild(program, arguments, {{"TMP", temporaryFolder}});
  return {result.exitStatus, result.signal, result.out, result.err};
}

#else

class StartedProgram {
 public:
  // temporaryFolder becomes the program's TMPDIR.
  StartedProgram(const std::vector<std::string>& arguments, const std::string& temporaryFolder,
                 const std::string& program = FACEFEATURE_PROGRAM)
      : outPath_(privateTempFolder() + "/program.out"),
        errPath_(privateTempFolder() + "/program.err") {
    std::vector<char*> argv = {const_cast<char*>("facefeature")};
    for (const std::string& argument : arguments)
      argv.push_back(const_cast<char*>(argument.data()));
    argv.push_back(nullptr);
    process_ = fork();
    if (process_ != 0) return;
    const int out = open(outPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open(errPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int in = open("/dev/null", O_RDONLY);
    if (in < 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) _exit(126);
    setenv("TMPDIR", temporaryFolder.c_str(), 1);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  StartedProgram(const StartedProgram&) = delete;
  StartedProgram& operator=(const StartedProgram&) = delete;

  pid_t process() const { return process_; }

  // True until it has ended.
  bool runs() {
    if (!ended_) ended_ = waitpid(process_, &status_, WNOHANG) == process_;
    return !ended_;
  }

  Outcome outcome() {
    if (!ended_) waitpid(process_, &status_, 0);
    ended_ = true;
    Outcome outcome;
    if (WIFEXITED(status_)) outcome.exitCode = WEXITSTATUS(status_);
    if (WIFSIGNALED(status_)) outcome.signal = WTERMSIG(status_);
    outcome.out = contentOf(outPath_);
    outcome.err = contentOf(errPath_);
    return outcome;
  }

 private:
  std::string outPath_;
  std::string errPath_;
  pid_t process_ = -1;
  bool ended_ = false;
  int status_ = 0;
};

inline Outcome runProgram(const std::vector<std::string>& arguments,
                          const std::string& temporaryFolder = privateTempFolder(),
                          const std::string& program = FACEFEATURE_PROGRAM) {
  return StartedProgram(arguments, temporaryFolder, program).outcome();
}

#endif

}  // namespace facefeature_test

#endif
