// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/process/arg_option.h"

#include <gmock/gmock.h>

namespace {

using ferrun::ArgOption;
using testing::ElementsAre;
using Words = std::vector<std::string>;

bool parse(ArgOption& options, Words words) {
  std::string program = "pcbin_las";
  std::vector<char*> argv = {program.data()};
  for (std::string& word : words) argv.push_back(word.data());
  return options.parseArgs(static_cast<int>(argv.size()), argv.data());
}

TEST(ArgOption, GivesEachOptionTheValuesAfterIt) {
  ArgOption options;
  EXPECT_TRUE(parse(options, {"-v", "-b", "a b.pcbin", "--offset", "-12.5", "-.5", "3", "-o", "-",
                              "", "--a-b_2", "x", "-i", "old", "-i"}));
  EXPECT_EQ(options.hasOption("v"), 0);
  EXPECT_THAT(options["b"], ElementsAre("a b.pcbin"));
  EXPECT_EQ(options.hasOption("offset"), 3);
  EXPECT_THAT(options["offset"], ElementsAre("-12.5", "-.5", "3"));
  EXPECT_THAT(options["o"], ElementsAre("-", ""));
  EXPECT_THAT(options["a-b_2"], ElementsAre("x"));
  EXPECT_EQ(options.hasOption("i"), 0) << "of a repeated option the last one stands";
  EXPECT_EQ(options.hasOption("off"), -1);
  EXPECT_THAT(options["h"], ElementsAre());
}

TEST(ArgOption, RefusesWordsThatAreNeitherOptionNorValue) {
  for (const char* const bad : {"-abc", "--", "---", "---x", "--1x", "--a=b", "--a b", "-_",
                                "-=", "--x\xC3\xA9", "-\xE9"}) {
    ArgOption options;
    EXPECT_FALSE(parse(options, {"-b", "file", bad})) << bad;
    EXPECT_EQ(options.hasOption("b"), -1) << bad << ": the table is empty";
  }
  ArgOption options;
  EXPECT_FALSE(parse(options, {"value", "-b"}));
  EXPECT_FALSE(parse(options, {"-5", "-b"}));
  EXPECT_TRUE(parse(options, {}));
  EXPECT_TRUE(options.parseArgs(0, nullptr));
}

}  // namespace
