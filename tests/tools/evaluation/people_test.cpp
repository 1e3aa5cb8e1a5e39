#include "evaluation/people.h"

#include <gtest/gtest.h>

#include "base/failure.h"
#include "tools/run_program.h"

namespace facefeature_test {
namespace {

using namespace facefeature_tools;

std::string fileOf(const std::string& text) {
  const std::string path = privateTempFolder() + "/people.csv";
  writeText(path, text);
  return path;
}

template <typename Read>
std::string failureOf(const Read& read, const std::string& text) {
  try {
    read(fileOf(text));
  } catch (const Failure& failure) {
    EXPECT_EQ(kBadInput, failure.code());
    return failure.what();
  }
  return "";
}

TEST(PeopleList, HasAPersonForEachIdWithOrWithoutAHeading) {
  for (const char* heading : {"", "id,person\n"}) {
    const auto people =
        readPeople(fileOf(std::string(heading) + "a,Ada\r\n\"b,1\",\"Ida \"\"I\"\"\"\n"));
    ASSERT_EQ(2u, people.size());
    EXPECT_EQ("a", people[0].id);
    EXPECT_EQ("Ada", people[0].person);
    EXPECT_EQ("b,1", people[1].id);
    EXPECT_EQ("Ida \"I\"", people[1].person);
  }
}

TEST(PeopleList, ThatIsNotValidIsRefusedWithItsLine) {
  const auto faultOf = [](const std::string& text) { return failureOf(readPeople, text); };
  const std::string start = fileOf("") + ": line 2 ";
  EXPECT_EQ(0u, faultOf("a,Ada\nb\n").find(start + "has 1 fields, not 2."));
  EXPECT_EQ(0u, faultOf("a,Ada\nb,Ida,x\n").find(start + "has 3 fields, not 2."));
  EXPECT_EQ(0u, faultOf("a,Ada\na,Ida\n").find(start + "repeats the id a."));
  EXPECT_EQ(0u, faultOf("a,Ada\n,Ida\n").find(start + "has an id that "));
  EXPECT_EQ(0u, faultOf("a,Ada\nb,\n").find(start + "has a person that "));
}

TEST(PairList, SaysWhichPairsAreOfOnePerson) {
  const auto pairs = readPairs(fileOf("id_a,id_b,same\na,b,1\nb,c,0\n"));
  ASSERT_EQ(2u, pairs.size());
  EXPECT_TRUE(pairs[0].samePerson);
  EXPECT_FALSE(pairs[1].samePerson);
  EXPECT_EQ("c", pairs[1].second);
}

TEST(PairList, ThatIsNotValidIsRefusedWithItsLine) {
  const auto faultOf = [](const std::string& text) { return failureOf(readPairs, text); };
  const std::string start = fileOf("") + ": line 2 ";
  EXPECT_EQ(0u, faultOf("a,b,1\nb,a,0\n").find(start + "repeats the pair b, a."));
  EXPECT_EQ(0u, faultOf("a,b,1\nc,c,0\n").find(start + "pairs c with itself."));
  EXPECT_EQ(0u,
            faultOf("a,b,1\nc,d,yes\n").find(start + "has neither 0 nor 1 as its third field."));
}

TEST(PairList, ConnectsIdsToPeople) {
  const auto people = peopleOfPairs(
      {{"d", "c", true}, {"a", "d", false}, {"b", "c", true}, {"e", "a", false}}, "list");
  ASSERT_EQ(5u, people.size());
  const std::vector<std::pair<std::string, std::string>> wanted = {
      {"d", "d"}, {"c", "d"}, {"a", "a"}, {"b", "d"}, {"e", "e"}};
  for (size_t i = 0; i < people.size(); ++i) {
    EXPECT_EQ(wanted[i].first, people[i].id);
    EXPECT_EQ(wanted[i].second, people[i].person);
  }
}

TEST(PairList, ThatContradictsItselfIsRefused) {
  EXPECT_THROW(peopleOfPairs({{"a", "b", true}, {"b", "c", true}, {"c", "a", false}}, "list"),
               Failure);
}

}  // namespace
}  // namespace facefeature_test
