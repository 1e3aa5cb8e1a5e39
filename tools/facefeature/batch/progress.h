// Reports the progress of a long run to a person at a terminal, to a log, or to a program.
#ifndef FACEFEATURE_TOOLS_BATCH_PROGRESS_H
#define FACEFEATURE_TOOLS_BATCH_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <string>

namespace facefeature_tools {

enum class ProgressFormat {
  kTerminal,  // one line that changes
  kPlain,     // a line from time to time
  kJson       // an object on each line
};

// "auto" is kTerminal if standard error is a terminal, otherwise kPlain. Throws
// std::invalid_argument for anything but auto, plain and json.
ProgressFormat progressFormat(const std::string& word);

struct ProgressCounts {
  size_t total = 0;
  size_t before = 0;  // done by an earlier run
  size_t done = 0;    // by this one, failures included
  size_t failed = 0;
};

// "120 of 1000, 3 failed, 8.1 a second, 1:48 left". seconds is the time that this run has taken;
// rate and remaining time appear once something is done.
std::string progressText(const ProgressCounts& counts, double seconds);
// The same as a JSON object; null for values that are not known yet.
std::string progressJson(const char* event, const ProgressCounts& counts, double seconds);

// Everything goes to standard error.
class Progress {
 public:
  Progress(ProgressFormat format, const std::string& verb, size_t total, size_t before);

  void succeeded() { ++counts_.done; }
  void failed(const std::string& id, const std::string& text);
  // The same with a text that names the photograph. Not for kJson.
  void failed(const std::string& text);
  void warned(const std::string& id, const std::string& text);

  // Call this often; it reports when it is time.
  void tick();
  // Removes the line on a terminal, before other messages or at the end of a run without a report.
  void clear();
  // Reports how the run ended. The text is for people and is not sent to programs.
  void end(const std::string& text);

  const ProgressCounts& counts() const { return counts_; }

 private:
  using Clock = std::chrono::steady_clock;

  double seconds() const;
  void about(const char* event, const std::string& id, const std::string& text);

  ProgressFormat format_;
  std::string verb_;
  ProgressCounts counts_;
  Clock::time_point start_;
  Clock::time_point lastReport_;
};

}  // namespace facefeature_tools

#endif
