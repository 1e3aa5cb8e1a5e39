// How a run of the program ends, and how it says so.
//
// A verb that can't do its work throws a Failure; main() turns it into one line on standard error
// and an exit code. Standard output is kept for data, so words never go there.
#ifndef FACEFEATURE_TOOLS_BASE_FAILURE_H
#define FACEFEATURE_TOOLS_BASE_FAILURE_H

#include <stdexcept>
#include <string>
#include <vector>

namespace facefeature_tools {

// Scripts tell the cases apart by these numbers, so they stay as they are.
enum ExitCode {
  kDone = 0,
  kFailed = 1,      // none of the below: no library, an output that can't be written, no memory
  kWrongUsage = 2,  // the command line
  kBadInput = 3,    // an input could not be read or is malformed
  kBadModel = 4,    // the model is missing or incomplete, or another than that of other features
  kNoAnswer = 5     // kFailed, where 1 is an answer
};

// what() is "SUBJECT: WRONG. REMEDY." The subject is nearly always a file.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& subject, const std::string& wrong,
          const std::string& remedy)
      : std::runtime_error(subject + ": " + wrong + ". " + remedy + "."), code_(code) {}

  // Words that were made elsewhere, under a code of their own.
  Failure(ExitCode code, const std::runtime_error& words)
      : std::runtime_error(words), code_(code) {}

  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

// One line on standard error: "facefeature VERB: TEXT". An empty verb leaves its place out.
void say(const std::string& verb, const std::string& text);

// Texts of say() from here on go to the end of words, without the verb, and not to standard error;
// with null they go there again. For a process whose words another one passes on. words outlives
// its use.
void keepWords(std::vector<std::string>* words);

// The system's words for an errno value.
std::string systemMessage(int errorNumber);

}  // namespace facefeature_tools

#endif
