// Interrupts changes of a gallery at each of their writes.
//
// A child process makes the change and is traced. The child is killed before each system call that
// changes a file, after it, and in the middle of a write. The gallery must then be either the old
// one or the new one. The same writes are also replayed as a disk may store them when the power
// fails: everything before the last sync is stored, and any part of what follows it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>

#include "base/failure.h"
#include "base/file_lock.h"
#include "gallery/gallery_change.h"
#include "gallery/gallery_verify.h"
#include "support/bits.h"
#include "support/seeded_random.h"
#include "tools/gallery/random_gallery.h"
#include "tools/gallery/version1_gallery.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;
using namespace facefeature_tools;

// The rows of a gallery, to compare with those of another gallery.
std::string rowsOf(const Gallery& gallery) {
  std::string text;
  for (size_t row = 0; row < gallery.count(); ++row) {
    const FeatureVector feature = gallery.feature(row);
    text += std::string(gallery.id(row)) + "\n";
    text.append(reinterpret_cast<const char*>(feature.values), sizeof feature.values);
  }
  return text;
}

bool changesFiles(uint64_t call) {
  static const std::set<uint64_t> calls = {
    SYS_write,
    SYS_pwrite64,
    SYS_ftruncate,
    SYS_fsync,
    SYS_fdatasync,
    SYS_renameat,
    SYS_renameat2,
    SYS_unlinkat,
#if defined(SYS_rename)
    SYS_rename,
    SYS_unlink,
#endif
  };
  return calls.count(call) != 0;
}

// A write of the change, replayed on the disk that loses power.
struct Write {
  enum Kind { kBytes, kCut, kSync } kind;
  uint64_t offset;    // or the new size if truncated
  std::string bytes;  // of kBytes
};

std::string memoryOf(pid_t process, uint64_t address, size_t count) {
  std::string bytes(count, '\0');
  std::FILE* memory = std::fopen(("/proc/" + std::to_string(process) + "/mem").c_str(), "rb");
  if (memory == nullptr) return "";
  std::fseek(memory, static_cast<long>(address), SEEK_SET);
  const size_t got = std::fread(bytes.data(), 1, count, memory);
  std::fclose(memory);
  EXPECT_EQ(count, got);
  return bytes;
}

enum class KillMoment { kBefore, kWithin, kAfter };

class GalleryCrash : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::remove_all(base);
    fs::create_directories(base);
  }
  void TearDown() override { fs::remove_all(base); }

  using Change = std::function<void()>;

  // Runs a change in a child and kills it at the call with this number, counted from 0. Returns
  // true if the child has exited by itself before that. Records the writes if `writes` is given.
  bool runAndKill(const Change& change, int killAt, KillMoment moment,
                  std::vector<Write>* writes = nullptr) {
    const pid_t child = fork();
    if (child == 0) {
      ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
      raise(SIGSTOP);
      try {
        change();
      } catch (...) {
        _exit(1);
      }
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int number = -1;
    for (;;) {
      ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
      waitpid(child, &status, 0);
      if (WIFEXITED(status)) {
        EXPECT_EQ(0, WEXITSTATUS(status));
        return true;
      }
      if (!WIFSTOPPED(status) || WSTOPSIG(status) != (SIGTRAP | 0x80)) continue;
      __ptrace_syscall_info info = {};
      ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
      if (info.op != PTRACE_SYSCALL_INFO_ENTRY || !changesFiles(info.entry.nr)) continue;
      if (writes != nullptr) record(child, info, *writes);
      if (++number != killAt) continue;
      if (moment == KillMoment::kAfter) {
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
      }
      if (moment == KillMoment::kWithin) writeHalf(child, info);
      kill(child, SIGKILL);
      waitpid(child, &status, 0);
      return false;
    }
  }

  static void record(pid_t child, const __ptrace_syscall_info& info, std::vector<Write>& writes) {
    const auto& call = info.entry;
    if (call.nr == SYS_pwrite64) {
      writes.push_back({Write::kBytes, call.args[3], memoryOf(child, call.args[1], call.args[2])});
    }
    if (call.nr == SYS_ftruncate) writes.push_back({Write::kCut, call.args[1], ""});
    if (call.nr == SYS_fsync) writes.push_back({Write::kSync, 0, ""});
  }

  // Performs the first half of a write instead of the child.
  static void writeHalf(pid_t child, const __ptrace_syscall_info& info) {
    if (info.entry.nr != SYS_pwrite64) return;
    const std::string bytes = memoryOf(child, info.entry.args[1], info.entry.args[2] / 2);
    const std::string descriptor = std::to_string(info.entry.args[0]);
    const std::string name = "/proc/" + std::to_string(child) + "/fd/" + descriptor;
    std::FILE* file = std::fopen(name.c_str(), "r+b");
    ASSERT_NE(nullptr, file);
    std::fseek(file, static_cast<long>(info.entry.args[3]), SEEK_SET);
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
  }

  void expectOneOf(const std::string& before, const std::string& after) {
    const Gallery gallery(path);
    const std::string rows = rowsOf(gallery);
    if (rows == after) ++sawNew;
    if (rows == before) ++sawOld;
    ASSERT_TRUE(rows == before || rows == after) << gallery.count() << " rows";
    const std::vector<std::string> faults = galleryFaults(gallery);
    for (const std::string& fault : faults) {
      ASSERT_EQ(0u, fault.find("copy ")) << fault;  // a half-written root
    }
  }

  NewRows newRows(size_t count) {
    std::vector<FeatureVector> features;
    NewRows rows;
    for (size_t i = 0; i < count; ++i) {
      rows.ids.push_back("new " + std::to_string(nextId++));
      features.push_back(randomFeature(random));
    }
    rows.feature = [features](size_t i) { return features[i]; };
    rows.origin = originOf(7);
    return rows;
  }

  // A gallery of random rows: unchanged, changed once, or of version 1.
  void makeGallery() {
    std::vector<std::string> ids;
    for (int32_t i = random.integer(0, 30); i >= 0; --i) ids.push_back("id " + std::to_string(i));
    const auto features = writeRandomGallery(path, ids, random);
    if (random.chance(20)) writeText(path, version1Bytes(ids, features));
    if (random.chance(50)) changeGallery(Gallery(path), {0}, newRows(2));
  }

  // A random change of the current gallery.
  Change someChange() {
    const bool compacts = random.chance(15);
    const NewRows added = newRows(static_cast<size_t>(random.integer(compacts ? 0 : 1, 120)));
    std::vector<size_t> removed;
    for (size_t row = 0; row < Gallery(path).count(); ++row) {
      if (random.chance(20)) removed.push_back(row);
    }
    return [this, compacts, added, removed] {
      const FileLock lock(path);
      (compacts ? rewriteGallery : changeGallery)(Gallery(path), removed, added);
    };
  }

  SeededRandom random;
  const std::string base = privateTempFolder() + "/gallery_crash";
  const std::string path = base + "/faces.gallery";
  int nextId = 0;
  int sawOld = 0;
  int sawNew = 0;
};

TEST_F(GalleryCrash, AnywhereLeavesTheOldOrTheNewGallery) {
  int kills = 0;
  while (kills < 500) {
    makeGallery();
    const std::string oldBytes = contentOf(path);
    const std::string before = rowsOf(Gallery(path));
    const Change change = someChange();
    change();
    const std::string after = rowsOf(Gallery(path));
    bool hasEnded = false;
    for (int killAt = 0; !hasEnded; ++killAt) {
      for (const KillMoment moment :
           {KillMoment::kBefore, KillMoment::kWithin, KillMoment::kAfter}) {
        writeText(path, oldBytes);
        hasEnded = runAndKill(change, killAt, moment);
        SCOPED_TRACE(::testing::Message()
                     << "call " << killAt << ", moment " << static_cast<int>(moment));
        expectOneOf(before, after);
        if (HasFatalFailure()) return;
        if (hasEnded) break;
        ++kills;
        if (killAt % 5 != 0) continue;
        // Leftovers of the killed writer do not stop the next one.
        const std::string now = rowsOf(Gallery(path));
        const NewRows one = newRows(1);
        const FileLock lock(path);
        changeGallery(Gallery(path), {}, one);
        const FeatureVector feature = one.feature(0);
        std::string wanted = now + one.ids[0] + "\n";
        wanted.append(reinterpret_cast<const char*>(feature.values), sizeof feature.values);
        ASSERT_TRUE(wanted == rowsOf(Gallery(path)));
        ASSERT_TRUE(galleryFaults(Gallery(path)).empty());
      }
    }
  }
  EXPECT_GT(sawOld, 100);
  EXPECT_GT(sawNew, 20);
}

// Applies a write, or only its first part, to the bytes of a file.
void apply(const Write& write, size_t bytes, std::string& file) {
  if (write.kind == Write::kCut) file.resize(std::min<size_t>(file.size(), write.offset));
  if (write.kind != Write::kBytes) return;
  file.resize(std::max<size_t>(file.size(), write.offset + bytes));
  file.replace(write.offset, bytes, write.bytes, 0, bytes);
}

TEST_F(GalleryCrash, OfThePowerLeavesTheOldOrTheNewGallery) {
  for (int round = 0; round < 25; ++round) {
    do makeGallery();
    while (Gallery(path).version() == 1);  // a rewrite is a rename, which this disk does not have
    const std::string oldBytes = contentOf(path);
    const std::string before = rowsOf(Gallery(path));
    const NewRows added = newRows(static_cast<size_t>(random.integer(1, 120)));
    const Change change = [&] { changeGallery(Gallery(path), {0}, added); };
    std::vector<Write> writes;
    ASSERT_TRUE(runAndKill(change, -1, KillMoment::kBefore, &writes));
    const std::string after = rowsOf(Gallery(path));
    std::string synced = oldBytes;
    size_t firstLost = 0;
    for (size_t end = 0; end < writes.size(); ++end) {
      // The power fails after this many writes. Each write since the last sync may be stored, lost,
      // or stored in part.
      for (int variant = 0; variant < 6; ++variant) {
        std::string file = synced;
        for (size_t i = firstLost; i <= end; ++i) {
          if (writes[i].kind == Write::kBytes && random.chance(40)) continue;
          const size_t bytes = random.chance(30) ? random.next() % (writes[i].bytes.size() + 1)
                                                 : writes[i].bytes.size();
          apply(writes[i], bytes, file);
        }
        writeText(path, file);
        SCOPED_TRACE(::testing::Message() << "after write " << end);
        expectOneOf(before, after);
        if (HasFatalFailure()) return;
      }
      if (writes[end].kind != Write::kSync) continue;
      for (size_t i = firstLost; i <= end; ++i) apply(writes[i], writes[i].bytes.size(), synced);
      firstLost = end + 1;
    }
  }
  EXPECT_GT(sawOld, 100);
  EXPECT_GT(sawNew, 100);
}

}  // namespace
}  // namespace facefeature_test
