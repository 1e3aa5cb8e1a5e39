#include "base/text_pattern.h"

#include <gtest/gtest.h>

#include <string>

#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature_tools::matchesPattern;

// The recursive definition, for patterns and texts of one-byte characters.
bool matchesByDefinition(const std::string& pattern, const std::string& text) {
  if (pattern.empty()) return text.empty();
  if (pattern[0] == '*') {
    for (size_t skipped = 0; skipped <= text.size(); ++skipped) {
      if (matchesByDefinition(pattern.substr(1), text.substr(skipped))) return true;
    }
    return false;
  }
  if (text.empty()) return false;
  if (pattern[0] == '?') return matchesByDefinition(pattern.substr(1), text.substr(1));
  const size_t literal = pattern[0] == '\\' && pattern.size() > 1 ? 1 : 0;
  return pattern[literal] == text[0] &&
         matchesByDefinition(pattern.substr(literal + 1), text.substr(1));
}

TEST(TextPattern, MatchesAsItsDefinitionDoes) {
  SeededRandom random;
  int matches = 0;
  for (int round = 0; round < 50000; ++round) {
    std::string pattern, text;
    for (int32_t i = random.integer(0, 6); i > 0; --i) pattern += "ab*?\\"[random.integer(0, 4)];
    for (int32_t i = random.integer(0, 6); i > 0; --i) text += "ab*\\"[random.integer(0, 3)];
    const bool wanted = matchesByDefinition(pattern, text);
    matches += wanted;
    ASSERT_EQ(wanted, matchesPattern(pattern, text)) << pattern << " on " << text;
  }
  EXPECT_GT(matches, 1000);
}

TEST(TextPattern, AQuestionMarkIsOneCharacterOfAnyLength) {
  EXPECT_TRUE(matchesPattern("J?rgen", "J\xC3\xBCrgen"));
  EXPECT_TRUE(matchesPattern("?", "\xE6\x97\xA5"));
  EXPECT_FALSE(matchesPattern("??", "\xE6\x97\xA5"));
  EXPECT_TRUE(matchesPattern("*\xC3\xBC*", "J\xC3\xBCrgen"));
}

TEST(TextPattern, AStarPassesSlashes) { EXPECT_TRUE(matchesPattern("a*.jpg", "a/b/c.jpg")); }

TEST(TextPattern, ManyStarsTakeNoExponentialTime) {
  std::string pattern;
  for (int i = 0; i < 50; ++i) pattern += "*a";
  EXPECT_FALSE(matchesPattern(pattern + "b", std::string(1000, 'a')));
}

}  // namespace
}  // namespace facefeature_test
