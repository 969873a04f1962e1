// SPDX-License-Identifier: BSD-3-Clause
// The checks of a command line.
#include <gmock/gmock.h>

#include "pcbin_las/app/option_table.h"

namespace {

using Words = std::vector<std::string>;

/// The reason why a command line is refused: the fault, or why it could not be parsed, or "unsaid"
/// when that is not printed for a script; empty when it is accepted.
std::string refusal(Words words, bool toPerson = false) {
  std::string program = "pcbin_las";
  std::vector<char*> argv = {program.data()};
  for (std::string& word : words) argv.push_back(word.data());
  const int argc = static_cast<int>(argv.size());
  ferrun::ArgOption options;
  if (!options.parseArgs(argc, argv.data()))
    return cli::explainRejection(options, argc, argv.data(), toPerson).value_or("unsaid");
  const cli::CommandLine line = cli::readCommandLine(options);
  return line.accepted ? "" : line.notes.back().text;
}

TEST(Options, AreRefusedWithTheReason) {
  const struct {
    Words words;
    std::string fault;
  } cases[] = {
      // Unknown options, in every run.
      {{"--ofset", "1", "2", "3"}, "unknown option(--ofset), the nearest known one is --offset"},
      {{"-b", "a", "--batc"}, "unknown option(--batc), the nearest known one is --batch"},
      {{"-F", "pgo.csv"}, "unknown option(-F), the nearest known one is -f"},
      {{"--sumary", "--batch"}, "unknown option(--sumary), the nearest known one is --summary"},
      // Without a strict option the line is not checked further.
      {{"-i", "-s", "5x", "7", "--offset", "1", "-i", "a"}, ""},
      // With a strict option the whole line is checked.
      {{"--batch", "-i"}, "option -i needs 1 value(pgo.pcbin), 0 given"},
      {{"--batch", "-i", "a", "-i"}, "option -i is given twice, with different values"},
      {{"-i", "a", "b", "--batch"}, "option -i: unexpected value(b)"},
      {{"--batch", "-f", ""}, "option -f needs 1 value(pgo.csv), an empty one given"},
      {{"--version", "x\n"}, "option --version: unexpected value(x\\x0A)"},
      {{"-i", "a", "--batch", "-i", "b"}, "option -i is given twice, with different values"},
      {{"-i", "a", "--batch", "-i", "a", "--batch"}, ""},
      {{"--batch", "--offset", "1", "2"}, "option --offset needs 3 values(x y z), 2 given"},
      {{"--batch", "--offset", "1", "2", "3", "4"}, "option --offset: unexpected value(4)"},
      {{"--batch", "--offset", "1", "2,5", "3"},
       "option --offset: other characters after the number(2,5)"},
      {{"--batch", "--offset", " 1", "-.5 ", "3e2"}, ""},
      {{"--batch", "-d", "x"}, "option -d: bad number(x)"},
      {{"--batch", "-n", "1.5"}, "option -n: other characters after the number(1.5)"},
      {{"--batch", "-b", "a"}, "option --batch cannot be used with -b"},
      {{"--batch", "--repair", "a"}, "option --batch cannot be used with --repair"},
      {{"--summary", "a", "--batch", "-r", "a"}, "option --summary cannot be used with -r"},
      {{"--summary", "a"}, "option --summary needs option --batch"},
      {{"--summary", "a", "--batch", "-o", "-5"}, ""},
      {{"--gps-time", "-r", "a"}, "option --gps-time cannot be used with -r"},
      {{"--epsg", "32632", "--repair", "a"}, "option --epsg cannot be used with --repair"},
      {{"--epsg", "32632", "25832"}, "option --epsg: unexpected value(25832)"},
      {{"--rgb16", "-b", "a"}, "option --rgb16 cannot be used with -b"},
      {{"--source-id", "-r", "a"}, "option --source-id cannot be used with -r"},
      {{"--source-id", "--repair", "a"}, ""},
      {{"--picture", "a"}, "option --picture needs option --batch"},
      {{"--picture", "a", "--repair", "a"}, "option --picture cannot be used with --repair"},
      {{"--zoom", "1", "2", "3", "-r", "a"}, "option --zoom needs option --picture"},
      {{"--zoom", "1", "2", "-r", "a"}, "option --zoom needs 3 values(x y width), 2 given"},
      {{"--zoom", "1", "2", "3m", "-r", "a", "--picture", "a"},
       "option --zoom: other characters after the number(3m)"},
      {{"--zoom", "-1", "2", "3", "-r", "a", "--picture", "a"}, ""},
      {{"--zoom", "1", "2", "3", "--batch", "--picture", "a", "--gps-time", "--rgb16"}, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(refusal(c.words), c.fault);
}

TEST(Options, ThatCannotBeParsedAreExplainedOnATerminalAndWithStrictOptions) {
  const struct {
    Words words;
    std::string reason;
    bool saidToScripts;
  } cases[] = {
      {{"frob", "-i", "a"}, "word(frob) before the first option", false},
      {{"-5", "--batch"}, "word(-5) before the first option", true},
      {{"--frob=3"}, "word(--frob=3) is neither an option nor a value", false},
      {{"-ab", "--version"}, "word(-ab) is neither an option nor a value", true},
      {{"--batch=yes"}, "option --batch cannot be given with a value after '='(--batch=yes)", true},
      {{"--offset=1"}, "option --offset cannot be given with a value after '='(--offset=1)", false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(refusal(c.words, true), c.reason);
    EXPECT_EQ(refusal(c.words), c.saidToScripts ? c.reason : "unsaid");
  }
}

}  // namespace
