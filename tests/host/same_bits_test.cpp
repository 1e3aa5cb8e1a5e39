// The same face gives the same bits in every process, whatever the number of threads, the addresses
// of the library and its memory, and the other libraries in the process.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "host/linked_model.h"
#include "host/probe_run.h"

namespace facefeature_test {
namespace {

// Three engines at a time; the first again after the others have worked; two at the same time; one
// created after the first was destroyed.
TEST(SameBits, FromEveryEngineWithEveryNumberOfThreads) {
  const LinkedModel model;
  const std::string feature = goodFeature() + "\n", a = "a " + feature, b = "b " + feature,
                    c = "c " + feature;
  const std::string wanted =
      "a made\nb made\nc made\n" + a + b + c + a + b + c + "d made\nd " + feature;
  const Steps steps = {"load",    "create",  "a",       "create",  "b",
                       "create",  "c",       "extract", "a",       "face",
                       "extract", "b",       "face",    "extract", "c",
                       "face",    "extract", "a",       "face",    "extract-together",
                       "b",       "c",       "destroy", "a",       "create",
                       "d",       "extract", "d",       "face",    "destroy",
                       "b",       "destroy", "c",       "destroy", "d",
                       "unload"};
  for (const int32_t threads : {1, 2, 7, 25, 40}) {
    SCOPED_TRACE(threads);
    EXPECT_EQ(wanted, outputOf(runProbe(model, steps, withThreads(threads))));
  }
}

#if !defined(_WIN32)
// Addresses, settings and loading on Linux. On Windows a library is mapped at its preferred
// address, and no library sees the symbols of another.

// The addresses of the library, from the lines of a run, in which every feature must be correct.
void collectAddresses(const std::string& out, size_t features, std::set<std::string>& addresses) {
  for (const std::string& line : linesOf(out)) {
    if (line.compare(0, 6, "where ") == 0) addresses.insert(line.substr(6));
    if (line.compare(0, 10, "a feature ") != 0) continue;
    EXPECT_EQ("a " + goodFeature(), line);
    --features;
  }
  EXPECT_EQ(0u, features) << out.substr(0, 200);
}

TEST(SameBits, WhereverTheLibraryIsLoaded) {
  const LinkedModel model;
  const Steps life = {"load", "where", "create",  "a", "extract",
                      "a",    "face",  "destroy", "a", "unload"};
  std::set<std::string> addresses;
  collectAddresses(outputOf(runProbe(model, life)), 1, addresses);
  collectAddresses(outputOf(runProbe(model, joined({{"take-memory", "1"}, life}))), 1, addresses);
  collectAddresses(outputOf(runProbe(model, joined({{"take-memory", "300"}, life}))), 1, addresses);
  // Mappings made while the library is unloaded take its addresses.
  collectAddresses(outputOf(runProbe(model, joined({life, {"take-memory", "99"}, life}))), 2,
                   addresses);
  EXPECT_LE(3u, addresses.size()) << "the runs hardly differed";
}

TEST(SameBits, WithoutRandomAddresses) {
  const std::string setarch = "/usr/bin/setarch";
  if (!std::filesystem::exists(setarch)) GTEST_SKIP() << setarch << " is not installed";
  if (runChild(setarch, {"-R", "/bin/true"}, {}).exitStatus != 0) {
    GTEST_SKIP() << "this system lets nobody turn random addresses off";
  }
  const LinkedModel model;
  const Steps life = joined({{"-R", FACEFEATURE_HOST_PROBE, FACEFEATURE_LIBRARY}, oneExtraction()});
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ("a made\na " + goodFeature() + "\n",
              outputOf(runChild(setarch, life, {{"TMPDIR", model.temporaryFolder()}})));
  }
}

// What the C library leaves in a new block, and where a block comes from.
TEST(SameBits, WhateverIsInFreshMemory) {
  const LinkedModel model;
  const std::vector<Environment> settings = {
      {{"MALLOC_PERTURB_", "1"}},         {{"MALLOC_PERTURB_", "127"}},
      {{"MALLOC_PERTURB_", "255"}},       {{"MALLOC_MMAP_THRESHOLD_", "4096"}},
      {{"MALLOC_TOP_PAD_", "100000000"}}, {{"MALLOC_ARENA_MAX", "1"}}};
  for (const Environment& setting : settings) {
    SCOPED_TRACE(setting.begin()->first + "=" + *setting.begin()->second);
    EXPECT_EQ("a made\na " + goodFeature() + "\n",
              outputOf(runProbe(model, oneExtraction(), setting)));
  }
}

std::string otherBlas(const std::string& flavour) {
  return "/usr/lib/" FACEFEATURE_LIBRARY_ARCHITECTURE "/openblas-" + flavour + "/libopenblas.so.0";
}

class BesideAnotherBlas : public ::testing::TestWithParam<std::string> {};

// Its names are open to all, it is loaded before the library or after it, and a thread of the host
// multiplies with it all the while. Neither side gets another bit.
TEST_P(BesideAnotherBlas, BothSidesGetTheSameBits) {
  const std::string file = otherBlas(GetParam());
  if (!std::filesystem::exists(file)) {
    GTEST_SKIP() << file << " is not installed (apt-get install libopenblas0-" << GetParam() << ")";
  }
  const LinkedModel model;
  const std::string line = "a " + goodFeature() + "\n";
  const std::string wanted = "a made\n" + line + line + line + line + line + "products same\n";
  const Steps work = {"create", "a", "extract-beside-blas", "a", "destroy", "a"};
  const std::vector<Steps> orders = {joined({{"open-blas", file, "load"}, work}),
                                     joined({{"load", "open-blas", file}, work})};
  for (const Steps& steps : orders) {
    EXPECT_EQ(wanted, outputOf(runProbe(model, steps, withThreads(4))));
  }
}

INSTANTIATE_TEST_SUITE_P(Flavour, BesideAnotherBlas,
                         ::testing::Values("pthread", "serial", "openmp"),
                         [](const auto& flavour) { return flavour.param; });

TEST(SameBits, BesideEveryOtherBlasAtOnce) {
  Steps steps;
  for (const char* flavour : {"pthread", "serial", "openmp"}) {
    if (!std::filesystem::exists(otherBlas(flavour))) {
      GTEST_SKIP() << otherBlas(flavour) << " is not installed";
    }
    steps = joined({steps, {"open-blas", otherBlas(flavour)}});
  }
  const LinkedModel model;
  const std::string line = "a " + goodFeature() + "\n";
  EXPECT_EQ(
      "a made\n" + line + line + line + line + line + "products same\n",
      outputOf(runProbe(
          model,
          joined({steps, {"load", "create", "a", "extract-beside-blas", "a", "destroy", "a"}}),
          withThreads(2))));
}
#endif

}  // namespace
}  // namespace facefeature_test
