// Extracts many photographs with a library that is fast and fails on demand.
#ifndef FACEFEATURE_TESTS_TOOLS_VERBS_BATCH_FIXTURE_H
#define FACEFEATURE_TESTS_TOOLS_VERBS_BATCH_FIXTURE_H

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "base/little_endian.h"
#include "face/landmark_file.h"
#include "gallery/gallery_file.h"
#include "model/model_files.h"
#include "support/faces.h"
#include "support/random.h"
#include "tools/photo/encoded_pictures.h"
#include "tools/run_program.h"

namespace facefeature_test {

// Widths of photographs that stub_library.c recognizes.
enum StubWidth {
  kTellsFaces = 10,
  kFailsThePass = 11,
  kAbortsInThePass = 12,
  kAborts = 13,
  kExits = 14,
  kSleeps = 15,
  kNotANumber = 16,
  kTellsThreads = 17,
  kTakesItsTime = 18,
  kOrdinary = 20
};

// Files with the right names, shapes and sizes but no content, so they use no disk space.
inline void writeHollowModel(const std::string& folder) {
  std::filesystem::create_directories(folder);
  for (const facefeature_tools::ModelFile& file : facefeature_tools::modelFiles()) {
    const std::string path = folder + "/" + file.name;
    uint8_t header[8];
    facefeature_tools::putWord(static_cast<uint32_t>(file.rows), header);
    facefeature_tools::putWord(static_cast<uint32_t>(file.cols), header + 4);
    writeText(path, std::string(reinterpret_cast<char*>(header), 4 * file.headerWords()));
    std::filesystem::resize_file(path, file.bytes());
  }
}

// The live child processes of a process.
inline std::vector<pid_t> childrenOf(pid_t process) {
  const std::string id = std::to_string(process);
  std::istringstream text(contentOf("/proc/" + id + "/task/" + id + "/children"));
  std::vector<pid_t> children;
  for (pid_t child; text >> child;) children.push_back(child);
  return children;
}

// True if the process is gone or a zombie that its parent has not waited for.
inline bool hasEnded(pid_t process) {
  const std::string status = contentOf("/proc/" + std::to_string(process) + "/stat");
  const size_t name = status.rfind(')');
  return name == std::string::npos || status[name + 2] == 'Z';
}

class Batch : public ::testing::Test {
 protected:
  void SetUp() override {
    namespace fs = std::filesystem;
    fs::remove_all(base);
    fs::create_directories(base + "/bin");
    fs::create_directories(temporary);
    std::error_code error;
    fs::create_hard_link(FACEFEATURE_PROGRAM, program, error);
    if (error) fs::copy_file(FACEFEATURE_PROGRAM, program);
    for (const char* name : {"libfacefeature.so.1", "libfacefeature_batch.so.1"}) {
      fs::copy_file(FACEFEATURE_STUB_LIBRARY, base + "/bin/" + name);
    }
    writeHollowModel(model);
  }
  void TearDown() override { std::filesystem::remove_all(base); }

  // Writes photograph "p<number>" of this width with its own landmarks.
  void writePhoto(int number, uint32_t width) const {
    Random random(static_cast<uint64_t>(number));
    const std::string name = base + "/p" + std::to_string(number);
    const Bytes ppm = encodePpm(width, 20, random.bytes(3 * width * 20));
    writeText(name + ".ppm", std::string(ppm.begin(), ppm.end()));
    // A small face inside the picture that raises no warnings.
    const float shift = 0.01f * static_cast<float>(number);
    const float x = 0.5f * static_cast<float>(width) + shift;
    const std::vector<Landmark> points =
        projectedFace({0.0f, 0.0f, 0.0f, 0.4f, x, 10.0f - shift}).entries;
    writeText(name + ".json", facefeature_tools::landmarkText(
                                  name + ".ppm", static_cast<int32_t>(width), 20, points));
  }

  // Writes a list of photographs p1, p2, ... of these widths.
  void writeList(const std::vector<uint32_t>& widths) const {
    std::string text = "id,photo,landmarks\n";
    for (size_t i = 0; i < widths.size(); ++i) {
      const int number = static_cast<int>(i) + 1;
      writePhoto(number, widths[i]);
      const std::string name = "p" + std::to_string(number);
      text += name + "," + name + ".ppm," + name + ".json\n";
    }
    writeText(list, text);
  }

  std::vector<std::string> arguments(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> all = {"extract", "--list", list, "-o", gallery, "--model", model};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  Outcome extract(const std::vector<std::string>& more = {}) const {
    return runProgram(arguments(more), temporary, program);
  }

  // The gallery bytes of an undisturbed run over the current list. Leaves no files.
  std::string undisturbed() const {
    const std::string path = base + "/undisturbed.gallery";
    const Outcome outcome =
        runProgram({"extract", "--list", list, "-o", path, "--model", model, "--jobs", "1"},
                   temporary, program);
    EXPECT_TRUE(outcome.exitCode == 0 || outcome.exitCode == 3) << outcome.err;
    const std::string bytes = contentOf(path);
    std::filesystem::remove(path);
    return bytes;
  }

  std::vector<std::string> idsIn(const std::string& path) const {
    const facefeature_tools::Gallery opened(path);
    std::vector<std::string> ids;
    for (size_t row = 0; row < opened.count(); ++row) ids.emplace_back(opened.id(row));
    return ids;
  }

  // Waits until this many features of photographs p1 to p9 are in the journal.
  void waitForFeatures(size_t count) const {
    for (int tries = 0; tries < 6000; ++tries) {
      std::error_code error;
      const uintmax_t size = std::filesystem::file_size(journal, error);
      // The header, and records with a length, an id of two letters, a feature and a checksum.
      if (!error && size >= 192 + count * (4 + 2 + 2008 + 8)) return;
      usleep(10000);
    }
    FAIL() << "the features did not come";
  }

  // The program has removed everything in its temporary folder.
  void expectNothingLeftBehind() const {
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    EXPECT_FALSE(std::filesystem::exists(gallery + ".part"));
  }

  const std::string base = privateTempFolder() + "/batch";
  const std::string temporary = base + "/temporary";
  const std::string program = base + "/bin/facefeature";
  const std::string model = base + "/model";
  const std::string list = base + "/list.csv";
  const std::string gallery = base + "/faces.gallery";
  const std::string journal = gallery + ".journal";
  const std::string unfinished = gallery + ".unfinished";
  const std::string report = base + "/report.csv";
};

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

inline size_t timesIn(const std::string& text, const std::string& part) {
  size_t times = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++times;
  return times;
}

}  // namespace facefeature_test

#endif
