// SPDX-License-Identifier: BSD-3-Clause
// The command line as a table of options.
#pragma once

#include <string>
#include <vector>

namespace ferrun {

/// Options and the values that follow them. An option word is a dash and a letter ("-b"), or two
/// dashes and a name: a letter, then letters, digits, '-' and '_' ("--offset"). Every other word is
/// a value of the option before it, including negative numbers ("-12.5", "-.5") and a single dash.
class ArgOption {
 public:
  /// One option word and the values that follow it.
  struct Occurrence {
    std::string name;  ///< without dashes
    std::vector<std::string> values;
  };

  /// Reads the words after the program name. False, with an empty table, when a value precedes the
  /// first option word or a word begins with a dash but is neither an option word nor a value. If
  /// an option is repeated, the last occurrence counts.
  bool parseArgs(int argc, char** argv);

  /// All options in the order of the command line, including repeated ones.
  const std::vector<Occurrence>& occurrences() const { return occurrences_; }

  /// The word at which parseArgs() failed; empty when it succeeded.
  const std::string& rejectedWord() const { return rejectedWord_; }

  /// The number of values of the option `name` (without dashes), or -1 when it was not given.
  int hasOption(const std::string& name) const;

  /// The values of the option `name`, in order; empty when there are none.
  std::vector<std::string> operator[](const std::string& name) const;

 private:
  const Occurrence* last(const std::string& name) const;

  std::vector<Occurrence> occurrences_;
  std::string rejectedWord_;
};

}  // namespace ferrun
