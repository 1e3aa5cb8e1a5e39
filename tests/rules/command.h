// Runs the tools of the build machine: nm, objdump, readelf, the compilers.
#ifndef FACEFEATURE_TESTS_RULES_COMMAND_H
#define FACEFEATURE_TESTS_RULES_COMMAND_H

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace facefeature_test {

struct CommandResult {
  int exitStatus;
  std::string output;  // standard output and standard error
};

// Runs a shell command. Throws std::runtime_error if a signal ends it.
inline CommandResult runCommand(const std::string& command) {
  std::FILE* const pipe = popen(("LC_ALL=C; export LC_ALL; " + command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("can't run " + command);
  std::string output;
  std::array<char, 4096> part;
  while (const size_t size = std::fread(part.data(), 1, part.size(), pipe)) {
    output.append(part.data(), size);
  }
  const int status = pclose(pipe);
  if (!WIFEXITED(status)) throw std::runtime_error("was cut short: " + command);
  return {WEXITSTATUS(status), output};
}

// The output lines of a command that must succeed.
inline std::vector<std::string> linesOfCommand(const std::string& command) {
  const CommandResult result = runCommand(command);
  if (result.exitStatus != 0) throw std::runtime_error(command + "\n" + result.output);
  std::vector<std::string> lines;
  std::istringstream stream(result.output);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// Quotes a path for the shell. No path of a build folder may contain a quote.
inline std::string quoted(const std::string& text) { return "'" + text + "'"; }

}  // namespace facefeature_test

#endif
