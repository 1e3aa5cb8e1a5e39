// The progress of a long run: in JSON, in a log, and on a terminal.
#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

#include <csignal>
#include <nlohmann/json.hpp>

#include "tools/verbs/batch_fixture.h"

namespace facefeature_test {
namespace {

TEST_F(Batch, ProgressAsJsonIsAnObjectOnEachLine) {
  writeList({kOrdinary, kAborts, 21});
  // A path that is not UTF-8 does not break the line.
  writeText(list, contentOf(list) + "odd,no\xFF.ppm,none.json\n");
  const Outcome outcome = extract({"--progress", "json", "--jobs", "2"});
  EXPECT_EQ(3, outcome.exitCode);
  std::istringstream lines(outcome.err);
  std::vector<std::string> events;
  nlohmann::json last;
  for (std::string line; std::getline(lines, line);) {
    // The output of a library goes there as well.
    if (line == "load something failed") continue;
    last = nlohmann::json::parse(line);
    events.push_back(last.at("event"));
    if (events.back() == "failed") {
      EXPECT_TRUE(last.at("id") == "p2" || last.at("id") == "odd") << line;
    }
  }
  ASSERT_GE(events.size(), 4u);
  EXPECT_EQ("start", events.front());
  EXPECT_EQ("end", events.back());
  EXPECT_EQ(2, std::count(events.begin(), events.end(), "failed"));
  EXPECT_EQ(4, last.at("done"));
  EXPECT_EQ(2, last.at("failed"));
}

TEST_F(Batch, ProgressInALogHasNoControlCharacters) {
  writeList({kTakesItsTime, kTakesItsTime, kAborts, 21});
  for (const char* form : {"auto", "plain"}) {
    const Outcome outcome = extract({"--progress", form, "--jobs", "1"});
    EXPECT_EQ(std::string::npos, outcome.err.find_first_of("\r\x1b")) << outcome.err;
    EXPECT_TRUE(contains(outcome.err, gallery + ": 3 features, 1 photograph failed.\n"));
  }
}

// Runs on a separate terminal, as if started by a person.
class BatchOnATerminal : public Batch {
 protected:
  void start(const std::vector<std::string>& more) {
    const std::vector<std::string> all = arguments(more);
    std::vector<char*> argv = {const_cast<char*>("facefeature")};
    for (const std::string& argument : all) argv.push_back(const_cast<char*>(argument.data()));
    argv.push_back(nullptr);
    process_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
    if (process_ != 0) return;
    setenv("TMPDIR", temporary.c_str(), 1);
    execv(program.c_str(), argv.data());
    _exit(127);
  }

  void type(char key) const { ASSERT_EQ(1, write(terminal_, &key, 1)); }

  // All that was shown up to the end, and how that was.
  std::string shown(int& status) const {
    std::string text;
    char bytes[4096];
    for (ssize_t got; (got = read(terminal_, bytes, sizeof bytes)) > 0;) {
      text.append(bytes, static_cast<size_t>(got));
    }
    waitpid(process_, &status, 0);
    close(terminal_);
    return text;
  }

 private:
  int terminal_ = -1;
  pid_t process_ = -1;
};

TEST_F(BatchOnATerminal, OneLineChangesAndFailuresAreAboveIt) {
  writeList({kTakesItsTime, kAborts, kTakesItsTime, kTakesItsTime, kTakesItsTime});
  start({"--jobs", "1"});
  int status = -1;
  const std::string text = shown(status);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(3, WEXITSTATUS(status)) << text;
  EXPECT_TRUE(contains(text, "\r\x1b[Kfacefeature extract: 2 of 5, 1 failed, ")) << text;
  EXPECT_TRUE(contains(text, " a second, 0:0")) << text;
  EXPECT_TRUE(contains(text, "\r\x1b[Kfacefeature extract: p2: ")) << text;
  EXPECT_TRUE(contains(text, gallery + ": 4 features, 1 photograph failed.\r\n")) << text;
}

TEST_F(BatchOnATerminal, CtrlCLeavesAGalleryOfWhatIsDone) {
  writeList({kOrdinary, 21, kSleeps, kSleeps});
  start({"--jobs", "2"});
  waitForFeatures(2);
  type('\x03');
  int status = -1;
  const std::string text = shown(status);
  ASSERT_TRUE(WIFSIGNALED(status)) << text;
  EXPECT_EQ(SIGINT, WTERMSIG(status));
  EXPECT_EQ((std::vector<std::string>{"p1", "p2"}), idsIn(unfinished));
  EXPECT_TRUE(contains(text, ": 2 features, 0 photographs failed.")) << text;
  expectNothingLeftBehind();
}

}  // namespace
}  // namespace facefeature_test
