// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/process/arg_option.h"

#include <algorithm>
#include <string_view>

namespace ferrun {
namespace {

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isValue(std::string_view word) {
  return !word.starts_with('-') || word == "-" || isDigit(word[1]) || word[1] == '.';
}

/// The option's name; empty when `word` is not an option word.
std::string_view optionName(std::string_view word) {
  if (word.size() == 2 && word[0] == '-' && isLetter(word[1])) return word.substr(1);
  if (word.size() < 3 || !word.starts_with("--") || !isLetter(word[2])) return {};
  const std::string_view name = word.substr(2);
  const bool proper = std::ranges::all_of(
      name, [](char c) { return isLetter(c) || isDigit(c) || c == '-' || c == '_'; });
  return proper ? name : std::string_view{};
}

}  // namespace

bool ArgOption::parseArgs(int argc, char** argv) {
  occurrences_.clear();
  rejectedWord_.clear();
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    const std::string_view name = optionName(word);
    if (!name.empty()) {
      occurrences_.push_back({std::string(name), {}});
    } else if (isValue(word) && !occurrences_.empty()) {
      occurrences_.back().values.emplace_back(word);
    } else {
      occurrences_.clear();
      rejectedWord_ = word;
      return false;
    }
  }
  return true;
}

/// The last occurrence of an option, or null.
const ArgOption::Occurrence* ArgOption::last(const std::string& name) const {
  const auto found = std::find_if(occurrences_.rbegin(), occurrences_.rend(),
                                  [&](const Occurrence& o) { return o.name == name; });
  return found == occurrences_.rend() ? nullptr : &*found;
}

int ArgOption::hasOption(const std::string& name) const {
  const Occurrence* const option = last(name);
  return option == nullptr ? -1 : static_cast<int>(option->values.size());
}

std::vector<std::string> ArgOption::operator[](const std::string& name) const {
  const Occurrence* const option = last(name);
  return option == nullptr ? std::vector<std::string>{} : option->values;
}

}  // namespace ferrun
