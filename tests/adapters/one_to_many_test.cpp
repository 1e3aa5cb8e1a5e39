// The adapter to the interface of one-to-many vendor tests, with made-up templates.
#include <frvt1N.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "adapters/forked_process.h"
#include "adapters/templates.h"
#include "model/library_loader.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

namespace fs = std::filesystem;

using FRVT::ReturnCode;
using FRVT_1N::Candidate;
using FRVT_1N::GalleryType;

class OneToMany : public ::testing::Test {
 protected:
  void SetUp() override { fs::create_directories(folder + "/enrollment"); }
  void TearDown() override { fs::remove_all(folder); }

  // Adds a person to the two files of the harness.
  void add(const std::string& id, const TemplateBytes& bytes) {
    lines += id + " " + std::to_string(bytes.size()) + " " + std::to_string(edb.size()) + "\n";
    edb.append(bytes.begin(), bytes.end());
    people.push_back({id, bytes});
  }

  ReturnCode finalize(const std::string& target) {
    writeText(folder + "/edb", edb);
    writeText(folder + "/manifest", lines);
    return FRVT_1N::Interface::getImplementation()
        ->finalizeEnrollment("", target, folder + "/edb", folder + "/manifest",
                             GalleryType::Consolidated)
        .code;
  }

  struct Person {
    std::string id;
    TemplateBytes bytes;
  };

  const std::string folder = privateTempFolder() + "/one_to_many";
  const std::string enrollment = folder + "/enrollment";
  std::vector<Person> people;
  std::string edb, lines;
  SeededRandom random;
};

// Picks the best one again and again. Of equal ones, the first.
std::vector<Candidate> expected(std::vector<Candidate> all, size_t length) {
  std::vector<Candidate> best(length);
  for (size_t rank = 0; rank < length && !all.empty(); ++rank) {
    size_t first = 0;
    for (size_t i = 1; i < all.size(); ++i) {
      if (all[i].similarityScore > all[first].similarityScore) first = i;
    }
    best[rank] = all[first];
    all.erase(all.begin() + static_cast<ptrdiff_t>(first));
  }
  return best;
}

TEST_F(OneToMany, CandidatesAreTheHighestScoresInDescendingOrder) {
  for (int i = 0; i < 30; ++i) {
    add("person" + std::to_string(i), madeUpTemplate(random, 1 + i % 2));
    if (i % 10 == 0) add("faceless" + std::to_string(i), {});
  }
  add("twin", people[5].bytes);
  ASSERT_TRUE(passesInFork([&] { EXPECT_EQ(ReturnCode::Success, finalize(enrollment)); }));
  fs::remove(folder + "/edb");
  fs::remove(folder + "/manifest");

  EXPECT_TRUE(passesInFork([&] {
    const auto adapter = FRVT_1N::Interface::getImplementation();
    ASSERT_EQ(ReturnCode::Success, adapter->initializeIdentification("", enrollment).code);
    EXPECT_EQ(1, threadCount());
    fs::remove_all(enrollment);
    const facefeature_tools::LoadedLibrary library;
    for (int process = 0; process < 3; ++process) {
      EXPECT_TRUE(passesInFork([&] {
        const TemplateBytes probe = process == 0 ? people[5].bytes : madeUpTemplate(random);
        const FeatureVector feature = featureIn(probe, 0);
        std::vector<Candidate> all;
        for (const Person& person : people) {
          Candidate candidate;
          candidate.isAssigned = true;
          candidate.templateId = person.id;
          candidate.similarityScore = -1e30;
          for (size_t k = 0; k < person.bytes.size() / sizeof feature; ++k) {
            const FeatureVector other = featureIn(person.bytes, k);
            const auto score = static_cast<double>(library.compareFeatures(&feature, &other));
            if (score > candidate.similarityScore) candidate.similarityScore = score;
          }
          if (!person.bytes.empty()) all.push_back(candidate);
        }
        for (const uint32_t length : {0u, 1u, 10u, 100u}) {
          std::vector<Candidate> candidates;
          ASSERT_EQ(ReturnCode::Success, adapter->identifyTemplate(probe, length, candidates).code);
          const std::vector<Candidate> wanted = expected(all, length);
          ASSERT_EQ(length, candidates.size());
          for (size_t i = 0; i < length; ++i) {
            EXPECT_EQ(wanted[i].isAssigned, candidates[i].isAssigned);
            EXPECT_EQ(wanted[i].templateId, candidates[i].templateId);
            EXPECT_EQ(wanted[i].similarityScore, candidates[i].similarityScore);
          }
        }
      }));
    }
  }));
}

TEST_F(OneToMany, FailuresHaveTheCodesOfTheInterface) {
  EXPECT_TRUE(passesInFork([&] {
    const auto adapter = FRVT_1N::Interface::getImplementation();
    const TemplateBytes good = madeUpTemplate(random);
    std::vector<Candidate> candidates;
    EXPECT_EQ(ReturnCode::ConfigError, adapter->identifyTemplate(good, 3, candidates).code);
    EXPECT_EQ(3u, candidates.size());
    TemplateBytes templ;
    std::vector<FRVT::EyePair> eyes;
    const FRVT::TemplateRole role = FRVT::TemplateRole::Search_1N;
    EXPECT_EQ(ReturnCode::ConfigError,
              adapter->createFaceTemplate({noise(random, 24)}, role, templ, eyes).code);
    EXPECT_EQ(ReturnCode::ConfigError,
              adapter->initializeTemplateCreation(folder + "/none", role).code);
    EXPECT_EQ(ReturnCode::InputLocationError,
              adapter->initializeIdentification("", enrollment).code);

    add("a", good);
    EXPECT_EQ(ReturnCode::EnrollDirError, finalize(folder + "/none"));
    const std::string valid = lines;
    for (const std::string& line : {"a", "a 2008", "a 2008 0 0", "a x 0", ""}) {
      lines = valid + line + "\n";
      EXPECT_EQ(ReturnCode::ParseError, finalize(enrollment)) << line;
    }
    for (const std::string& line : {"a 2007 0", "a 2008 1", "a 4016 0", "a 2008 99999999999",
                                    "a 18446744073709551608 2008"}) {
      lines = valid + line + "\n";
      EXPECT_EQ(ReturnCode::TemplateFormatError, finalize(enrollment)) << line;
    }
    lines = valid;
    EXPECT_EQ(ReturnCode::Success, finalize(enrollment));
    EXPECT_EQ(ReturnCode::Success, adapter->initializeIdentification("", enrollment).code);
    EXPECT_EQ(ReturnCode::VerifTemplateError, adapter->identifyTemplate({}, 2, candidates).code);
    EXPECT_EQ(2u, candidates.size());
    EXPECT_FALSE(candidates[0].isAssigned);
  }));
}

}  // namespace
}  // namespace facefeature_test
