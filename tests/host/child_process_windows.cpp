#include <windows.h>

#include <cctype>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/child_process.h"
#include "support/private_temp_folder.h"

namespace facefeature_test {
namespace {

constexpr DWORD kMillisecondsToLive = 300'000;  // a child that hangs does not stall the run
constexpr int kExitStatusOfAbort = 3;

// Names of variables are case-insensitive.
std::string inCapitals(std::string name) {
  for (char& letter : name) {
    letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  }
  return name;
}

// A sequence of "NAME=VALUE" and a NUL, in ascending order, then a NUL.
std::string changedEnvironment(const Environment& changes) {
  Environment variables;
  char* const block = GetEnvironmentStringsA();
  for (const char* entry = block; *entry != '\0'; entry += std::string(entry).size() + 1) {
    const std::string variable = entry;
    // From the second character on, since the folders of drives have names like "=C:".
    const size_t offset = variable.find('=', 1);
    variables[inCapitals(variable.substr(0, offset))] = variable.substr(offset + 1);
  }
  FreeEnvironmentStringsA(block);
  for (const auto& [name, value] : changes) variables[inCapitals(name)] = value;
  std::string text;
  for (const auto& [name, value] : variables) {
    if (value && !value->empty()) text += name + "=" + *value + '\0';
  }
  return text + '\0';
}

// Quotes arguments for the way the C runtime splits a command line.
std::string quotedWord(const std::string& word) {
  std::string text = "\"";
  size_t backslashes = 0;
  for (const char letter : word) {
    if (letter == '"') text += std::string(backslashes + 1, '\\');
    backslashes = letter == '\\' ? backslashes + 1 : 0;
    text += letter;
  }
  return text + std::string(backslashes, '\\') + "\"";
}

HANDLE inheritableFile(const std::string& path, DWORD access, DWORD creation) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  const HANDLE file = CreateFileA(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  &inherited, creation, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) throw std::runtime_error("can't open " + path);
  return file;
}

// Text mode has written a carriage return before each line end.
std::string taken(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  file.close();
  DeleteFileA(path.c_str());
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    const bool endsLine = bytes[i] == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n';
    if (!endsLine) text += bytes[i];
  }
  return text;
}

}  // namespace

bool ChildResult::wasAborted() const { return exitStatus == kExitStatusOfAbort; }

ChildResult runChild(const std::string& program, const std::vector<std::string>& arguments,
                     const Environment& changes) {
  std::string command = quotedWord(program);
  for (const std::string& argument : arguments) command += " " + quotedWord(argument);
  std::string environment = changedEnvironment(changes);
  const std::string out = privateTempFolder() + "\\child-out";
  const std::string err = privateTempFolder() + "\\child-err";

  STARTUPINFOA start = {};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = inheritableFile("NUL", GENERIC_READ, OPEN_EXISTING);
  start.hStdOutput = inheritableFile(out, GENERIC_WRITE, CREATE_ALWAYS);
  start.hStdError = inheritableFile(err, GENERIC_WRITE, CREATE_ALWAYS);
  PROCESS_INFORMATION child = {};
  const BOOL started = CreateProcessA(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0,
                                      environment.data(), nullptr, &start, &child);
  for (const HANDLE file : {start.hStdInput, start.hStdOutput, start.hStdError}) CloseHandle(file);
  if (started == 0) throw std::runtime_error("can't start " + program);

  if (WaitForSingleObject(child.hProcess, kMillisecondsToLive) != WAIT_OBJECT_0) {
    TerminateProcess(child.hProcess, 255);
    WaitForSingleObject(child.hProcess, INFINITE);
  }
  DWORD status = 0;
  GetExitCodeProcess(child.hProcess, &status);
  CloseHandle(child.hThread);
  CloseHandle(child.hProcess);
  ChildResult result;
  result.exitStatus = static_cast<int>(status);
  result.out = taken(out);
  result.err = taken(err);
  return result;
}

}  // namespace facefeature_test
