#include <examples/parameter_sweep/engines/CommandWords.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using ParameterSweep::splitCommand;
using Words = std::vector<std::string>;

TEST(CommandWords, AreThoseOfAShell) {
  EXPECT_EQ(splitCommand(""), Words());
  EXPECT_EQ(splitCommand("  "), Words());
  EXPECT_EQ(splitCommand("ssh  node1"), (Words{"ssh", "node1"}));
  EXPECT_EQ(splitCommand("--comment 'two words' --mem=2G"), (Words{"--comment", "two words", "--mem=2G"}));
  EXPECT_EQ(splitCommand("sh -c 'exec \"$@\"; a && b' \"it's\" a\\ b ''"),
            (Words{"sh", "-c", "exec \"$@\"; a && b", "it's", "a b", ""}));
}

TEST(CommandWords, RunNothing) {
  for (const std::string text : {"a; b", "a | b", "a & b", "a > b", "echo $(id)", "echo `id`", "a\nb"}) {
    EXPECT_THROW(splitCommand(text), std::invalid_argument) << text;
  }
}

TEST(CommandWords, WithAnOpenQuoteAreRefused) {
  for (const std::string text : {"'a", "\"a", "a 'b"}) {
    try {
      splitCommand(text);
      ADD_FAILURE() << text;
    } catch (const std::invalid_argument& failure) {
      EXPECT_EQ(failure.what(), "a quote or brace is not closed in: " + text);
    }
  }
}

}  // namespace
