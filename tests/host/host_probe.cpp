// A minimal host process: loads the shared library as any host would, and performs the steps given
// as arguments, in order.
//
//     host_probe LIBRARY STEP...
//
//     load | unload | mapped | where  binds the four functions; releases them; "mapped yes|no";
//                                     "where 7f0012345678", the address of a function
//     create NAME                     "NAME made", "NAME null" or "NAME out of memory"
//     extract NAME VARIANT            "NAME feature 3f800000 ...", "NAME nan" or "NAME untouched"
//     extract-together NAME NAME      both with the variant "face", at the same time, each on a
//                                     thread of its own
//     extract-beside-blas NAME        the variant "face" five times, while each BLAS of the
//                                     host multiplies; "products same|changed"
//     on-a-thread STEP                runs one step on a thread that then ends
//     destroy NAME                    passes null if there is no engine of that name
//     read-feature NAME FILE          502 floats
//     score NAME NAME                 "score 3f800000", of the features last read or extracted
//     threads | memory                "threads N"; "memory N" (resident, in KiB)
//     setenv NAME VALUE | unsetenv NAME
//     remove PATH | move FROM TO      folders with their contents
//     fork STEP... join               a child performs the steps and calls exit(0) at the join;
//                                     the parent waits for it there: "child 0" or "child died"
//     sleep MILLISECONDS
//     rounding MODE | denormals MODE  of the calling thread (probe_surroundings.h)
//     environment                     "environment nearest kept" or similar
//     take-memory BLOCKS | open-blas FILE
//
// Standard output is flushed after each step, so that it is complete and in order even if a step
// ends the process. Exit status 2: a step that can't be performed, reported on standard error.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/probe_library.h"
#include "host/probe_request.h"
#include "host/probe_surroundings.h"
#include "host/probe_system.h"
#include "support/environment.h"

namespace facefeature_test {
namespace {

class Probe {
 public:
  Probe(const std::string& library, std::vector<std::string> words)
      : library_(library), words_(std::move(words)) {}

  void run() {
    while (next_ < words_.size()) {
      step(word());
      std::fflush(stdout);
    }
  }

 private:
  const std::string& word() {
    if (next_ == words_.size()) throw std::runtime_error("a step lacks its arguments");
    return words_[next_++];
  }

  void step(const std::string& verb) {
    if (verb == "load") return library_.load();
    if (verb == "unload") return library_.unload();
    if (verb == "mapped") return say("mapped", library_.mapped() ? "yes" : "no");
    if (verb == "where") return where();
    if (verb == "create") return create(word());
    if (verb == "extract") return extract(word());
    if (verb == "extract-together") return extractTogether(word());
    if (verb == "extract-beside-blas") return extractBesideBlas(word());
    if (verb == "on-a-thread") return onAThread();
    if (verb == "destroy") return library_.destroy(engines_[word()]);
    if (verb == "read-feature") return readFeature(word());
    if (verb == "score") return score(word());
    if (verb == "threads") return say("threads", settledThreadCount());
    if (verb == "memory") return say("memory", residentKibibytes());
    if (verb == "setenv") return set(word());
    if (verb == "unsetenv") return unsetVariable(word());
    if (verb == "remove") return static_cast<void>(std::filesystem::remove_all(word()));
    if (verb == "move") return move(word());
    if (verb == "fork") return forkHere();
    if (verb == "join") return std::exit(0);
    if (verb == "sleep") return sleep(word());
    if (verb == "rounding") return setRounding(word());
    if (verb == "denormals") return setDenormals(word());
    if (verb == "environment") return say("environment", floatEnvironment());
    if (verb == "take-memory") return takeMemory(std::stoi(word()));
    if (verb == "open-blas") return static_cast<void>(others_.emplace_back(word()));
    throw std::runtime_error("no such step: " + verb);
  }

  // A thread of the OpenMP runtime that nobody joins needs a moment to leave the process. So the
  // count is the one that five readings in a row agree on.
  static std::string settledThreadCount() {
    std::string count = threadCount();
    for (int equal = 1; equal < 5;) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      const std::string next = threadCount();
      equal = next == count ? equal + 1 : 1;
      count = next;
    }
    return count;
  }

  static void say(const std::string& name, const std::string& what) {
    std::printf("%s %s\n", name.c_str(), what.c_str());
  }

  void create(const std::string& name) {
    try {
      engines_[name] = library_.create();
      say(name, engines_[name] == nullptr ? "null" : "made");
    } catch (const std::bad_alloc&) {
      say(name, "out of memory");
    }
  }

  void extract(const std::string& name) {
    say(name, extractVariant(library_, engines_.at(name), word(), features_[name]));
  }

  void extractTogether(const std::string& first) {
    const std::string& second = word();
    std::string firstText, secondText;
    FeatureVector firstFeature, secondFeature;
    FeatureEngine* const firstEngine = engines_.at(first);
    FeatureEngine* const secondEngine = engines_.at(second);
    std::thread one(
        [&] { firstText = extractVariant(library_, firstEngine, "face", firstFeature); });
    std::thread two(
        [&] { secondText = extractVariant(library_, secondEngine, "face", secondFeature); });
    one.join();
    two.join();
    say(first, firstText);
    say(second, secondText);
  }

  void extractBesideBlas(const std::string& name) {
    const bool same = besideProducts(others_, [&] {
      for (int32_t round = 0; round < 5; ++round) {
        say(name, extractVariant(library_, engines_.at(name), "face", features_[name]));
      }
    });
    say("products", same ? "same" : "changed");
  }

  void where() {
    char text[32];
    std::snprintf(text, sizeof text, "%p", reinterpret_cast<void*>(library_.create));
    say("where", text);
  }

  void onAThread() {
    std::thread thread([this] { step(word()); });
    thread.join();
  }

  void readFeature(const std::string& name) {
    FeatureVector& feature = features_[name];
    std::ifstream file(word(), std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(&feature), sizeof feature)) {
      throw std::runtime_error("can't read the feature " + name);
    }
  }

  void score(const std::string& first) {
    const float value = library_.compare(&features_.at(first), &features_.at(word()));
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    std::printf("score %08x\n", bits);
  }

  void set(const std::string& name) { setVariable(name, word()); }
  void move(const std::string& from) { std::filesystem::rename(from, word()); }

  static void sleep(const std::string& milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(milliseconds)));
  }

  void forkHere() {
    const std::string child = forkAndWait();
    if (child == "child") return;
    say("child", child);
    while (word() != "join") {
    }
  }

  ProbeLibrary library_;
  std::vector<std::string> words_;
  size_t next_ = 0;
  std::map<std::string, FeatureEngine*> engines_;
  std::map<std::string, FeatureVector> features_;
  std::vector<HostBlas> others_;
};

}  // namespace
}  // namespace facefeature_test

int main(int argc, char** argv) {
  facefeature_test::prepareProcess();
  if (argc < 2) {
    std::fprintf(stderr, "host_probe LIBRARY STEP...\n");
    return 2;
  }
  try {
    facefeature_test::Probe(argv[1], {argv + 2, argv + argc}).run();
  } catch (const std::runtime_error& error) {
    std::fprintf(stderr, "host_probe: %s\n", error.what());
    return 2;
  }
  return 0;
}
