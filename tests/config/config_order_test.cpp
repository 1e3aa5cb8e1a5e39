#include "config/config_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "config/config_document.h"
#include "support/reference_config.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::compareNames;
using facefeature::ConfigSection;
using facefeature::findSorted;
using facefeature::insertSorted;

int signOf(int value) { return (value > 0) - (value < 0); }

TEST(CompareNames, NamesDecideByTheirFirstUnequalByte) {
  EXPECT_EQ(0, compareNames("conv1", "conv1"));
  EXPECT_LT(compareNames("conv1", "conv2"), 0);
  EXPECT_GT(compareNames("conv2", "conv1"), 0);
  EXPECT_LT(compareNames("Net", "[DEFAULT]"), 0);
  EXPECT_LT(compareNames("A", "a"), 0);
}

TEST(CompareNames, PrefixComesBeforeTheLongerName) {
  EXPECT_LT(compareNames("a", "ab"), 0);
  EXPECT_GT(compareNames("ab", "a"), 0);
}

TEST(CompareNames, BytesFrom128UpComeBeforeAllOthersAndBeforeTheEnd) {
  EXPECT_LT(compareNames("\x80", "a"), 0);
  EXPECT_LT(compareNames("\xff", "\x01"), 0);
  EXPECT_LT(compareNames("\x80", "\xff"), 0);
  EXPECT_LT(compareNames("a\x80", "a"), 0);
  EXPECT_GT(compareNames("a", "a\xff"), 0);
}

TEST(CompareNames, NothingAfterTheEndOfTheSoughtNameMatters) {
  EXPECT_EQ(0, compareNames("key", std::string("key\0value\0", 10).c_str()));
  EXPECT_EQ(
      0, compareNames(std::string("key\0one\0", 8).c_str(), std::string("key\0two\0", 8).c_str()));
}

TEST(CompareNames, AnyTwoNamesCompareAsTheirSignedBytes) {
  SeededRandom random;
  static const std::string kLetters = "aab\x01\x7f\x80\xff";
  for (int i = 0; i < 20000; ++i) {
    std::string names[2];
    for (std::string& name : names) {
      for (int32_t length = random.integer(0, 4); length > 0; --length) {
        name += kLetters[static_cast<size_t>(random.integer(0, 6))];
      }
    }
    ASSERT_EQ(signOf(reference::compareNames(names[0], names[1])),
              signOf(compareNames(names[0].c_str(), names[1].c_str())))
        << ::testing::PrintToString(names[0]) << " and " << ::testing::PrintToString(names[1]);
  }
}

// Names with even numbers leave room for one more between any two of them.
std::string numberName(size_t number) {
  std::string digits = std::to_string(number);
  return std::string(4 - digits.size(), '0') + digits;
}

// Every index in arrays of up to 100 elements.
TEST(InsertSorted, ElementFindsItsPlaceHoweverManyMustMove) {
  std::vector<std::string> names;
  for (size_t i = 0; i <= 202; ++i) names.push_back(numberName(i));
  const char* const guard = "behind the array";
  for (uint32_t count = 0; count <= 100; ++count) {
    for (uint32_t index = 0; index <= count; ++index) {
      std::vector<const char*> array;
      for (uint32_t i = 0; i < count; ++i) array.push_back(names[2 * i + 1].c_str());
      std::vector<const char*> wanted = array;
      wanted.insert(wanted.begin() + index, names[2 * index].c_str());
      wanted.push_back(guard);
      array.push_back(nullptr);
      array.push_back(guard);
      insertSorted(array.data(), count, names[2 * index].c_str());
      ASSERT_EQ(wanted, array) << index << " of " << count;
    }
  }
}

TEST(InsertSorted, EqualElementGoesBeforeExistingOnes) {
  for (uint32_t ahead = 0; ahead <= 40; ++ahead) {
    for (const uint32_t equals : {1u, 2u, 3u, 40u}) {
      std::vector<std::string> texts(ahead, "a");
      texts.insert(texts.end(), equals, "b");
      texts.insert(texts.end(), 3, "c");
      std::vector<const char*> array;
      for (const std::string& text : texts) array.push_back(text.c_str());
      const std::string newest = "b";
      std::vector<const char*> wanted = array;
      wanted.insert(wanted.begin() + ahead, newest.c_str());
      const uint32_t count = static_cast<uint32_t>(array.size());
      array.push_back(nullptr);
      insertSorted(array.data(), count, newest.c_str());
      ASSERT_EQ(wanted, array) << equals << " equal ones behind " << ahead;
    }
  }
}

std::vector<std::string> randomNames(Random* random, size_t count) {
  std::vector<std::string> names;
  for (size_t i = 0; i < count; ++i) {
    std::string name(1, static_cast<char>(random->integer(-3, 3) * 20 + 1));
    if (random->chance(50)) name += static_cast<char>(random->integer(-128, -120));
    names.push_back(name);
  }
  return names;
}

std::vector<std::string> sortedNewestFirst(const std::vector<std::string>& names) {
  std::vector<std::string> sorted(names.rbegin(), names.rend());
  std::stable_sort(sorted.begin(), sorted.end(), [](const std::string& a, const std::string& b) {
    return reference::compareNames(a, b) < 0;
  });
  return sorted;
}

TEST(InsertSorted, SectionsAreSortedByNameWithTheNewestOfEqualsFirst) {
  SeededRandom random;
  for (size_t count = 0; count <= 100; ++count) {
    const std::vector<std::string> names = randomNames(&random, count);
    std::vector<ConfigSection> sections(count);
    std::vector<ConfigSection*> array(count);
    for (uint32_t i = 0; i < count; ++i) {
      sections[i].name = names[i].c_str();
      sections[i].entryCount = i;
      insertSorted(array.data(), i, &sections[i]);
    }
    const std::vector<std::string> sorted = sortedNewestFirst(names);
    for (size_t i = 0; i < count; ++i) {
      ASSERT_EQ(sorted[i], array[i]->name);
      if (i > 0 && sorted[i - 1] == sorted[i]) {
        ASSERT_GT(array[i - 1]->entryCount, array[i]->entryCount);
      }
    }
  }
}

TEST(FindSorted, NothingIsFoundAmongNoElements) {
  const char* entry = "a";
  EXPECT_EQ(-1, findSorted(&entry, 0, "a"));
}

TEST(FindSorted, OfEqualElementsTheFirstOneProbedIsFound) {
  const char* const two[] = {"a", "a"};
  EXPECT_EQ(0, findSorted(two, 2, "a"));
  const char* const three[] = {"a", "a", "a"};
  EXPECT_EQ(1, findSorted(three, 3, "a"));
  const char* const four[] = {"a", "a", "a", "b"};
  EXPECT_EQ(1, findSorted(four, 4, "a"));
  const char* const six[] = {"a", "b", "b", "b", "b", "b"};
  EXPECT_EQ(2, findSorted(six, 6, "b"));
}

TEST(FindSorted, ProbesAreThoseOfTheClosedRange) {
  SeededRandom random;
  for (size_t count = 0; count <= 70; ++count) {
    const std::vector<std::string> names = sortedNewestFirst(randomNames(&random, count));
    std::vector<const char*> entries;
    std::vector<ConfigSection> sections(count);
    std::vector<ConfigSection*> sectionPointers;
    for (size_t i = 0; i < count; ++i) {
      entries.push_back(names[i].c_str());
      sections[i].name = names[i].c_str();
      sectionPointers.push_back(&sections[i]);
    }
    for (int i = 0; i < 40; ++i) {
      const std::string sought = randomNames(&random, 1)[0];
      const int32_t wanted = reference::lookUp(names, sought);
      ASSERT_EQ(wanted, findSorted(entries.data(), static_cast<uint32_t>(count), sought.c_str()));
      ASSERT_EQ(wanted,
                findSorted(sectionPointers.data(), static_cast<uint32_t>(count), sought.c_str()));
    }
  }
}

}  // namespace
}  // namespace facefeature_test
