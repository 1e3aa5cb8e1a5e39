// How a run of the program fails, and how it reports that.
//
// A verb that can't do its work throws a Failure; main() turns it into one line on standard error
// and an exit code. Standard output is reserved for data, so messages never go there.
#ifndef FACEFEATURE_TOOLS_BASE_FAILURE_H
#define FACEFEATURE_TOOLS_BASE_FAILURE_H

#include <stdexcept>
#include <string>
#include <vector>

namespace facefeature_tools {

// Scripts distinguish the cases by these numbers, so they never change.
enum ExitCode {
  kDone = 0,
  kFailed = 1,      // none of those below: no library, an output that can't be written, no memory
  kWrongUsage = 2,  // the command line
  kBadInput = 3,    // an input could not be read or is malformed
  kBadModel = 4,    // the model is missing or incomplete, or differs from that of other features
  kNoAnswer = 5     // replaces kFailed for verbs whose exit code 1 is an answer
};

// what() is "SUBJECT: ERROR. REMEDY." The subject is nearly always a file.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& subject, const std::string& wrong,
          const std::string& remedy)
      : std::runtime_error(subject + ": " + wrong + ". " + remedy + "."), code_(code) {}

  // A complete message from elsewhere, with an exit code.
  Failure(ExitCode code, const std::runtime_error& cause)
      : std::runtime_error(cause), code_(code) {}

  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

// Prints one line on standard error: "facefeature VERB: TEXT". An empty verb is left out.
void say(const std::string& verb, const std::string& text);

// Makes say() append its messages, without the verb, to this list instead of printing them; null
// restores the default. For a process whose messages another one forwards. The list must outlive
// the redirection.
void collectMessages(std::vector<std::string>* messages);

// The system's message for an errno value.
std::string systemMessage(int errorNumber);

}  // namespace facefeature_tools

#endif
