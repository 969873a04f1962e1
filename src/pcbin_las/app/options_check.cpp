// SPDX-License-Identifier: BSD-3-Clause
// The checks of a command line.
#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>
#include <vector>

#include "pcbin_las/app/options.h"
#include "pcbin_las/platform/escape.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/str_util.h"

namespace cli {
namespace {

using Fault = std::optional<std::string>;
using ferrun::ArgOption;
using ferrun::StrUtil;

/// The option with its dashes: "-b", "--batch".
std::string typed(const std::string& name) {
  return (name.size() == 1 ? "-" : "--") + name;
}

const Option* findOption(std::string_view name) {
  const auto options = allOptions();
  const auto found = std::ranges::find_if(options, [&](const Option& o) { return name == o.name; });
  return found == options.end() ? nullptr : &*found;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Twice the edit distance of two words, where a change of case counts half.
int distance(std::string_view a, std::string_view b) {
  std::vector<int> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = 2 * static_cast<int>(j);
  for (const char c : a) {
    int diagonal = row[0];
    row[0] += 2;
    for (std::size_t j = 0; j < b.size(); ++j) {
      int change = 2;
      if (c == b[j])
        change = 0;
      else if (lower(c) == lower(b[j]))
        change = 1;
      const int best = std::min({diagonal + change, row[j] + 2, row[j + 1] + 2});
      diagonal = row[j + 1];
      row[j + 1] = best;
    }
  }
  return row.back();
}

Fault unknownOption(const ArgOption& options) {
  for (const auto& given : options.occurrences()) {
    if (findOption(given.name) != nullptr) continue;
    const auto nearest = std::ranges::min_element(
        allOptions(), {}, [&](const Option& known) { return distance(given.name, known.name); });
    return StrUtil::format("unknown option(%s), the nearest known one is %s",
                           ferrun::escapeControls(typed(given.name)).c_str(),
                           typed(nearest->name).c_str());
  }
  return std::nullopt;
}

/// The number of values of an option.
std::size_t valueCount(const Option& option) {
  const std::string_view words = option.values;
  return words.empty() ? 0 : 1 + static_cast<std::size_t>(std::ranges::count(words, ' '));
}

Fault wrongValueCount(const Option& option, const std::vector<std::string>& values) {
  const std::size_t wanted = valueCount(option);
  const std::string name = typed(option.name);
  if (values.size() < wanted)
    return StrUtil::format("option %s needs %zu value%s(%s), %zu given", name.c_str(), wanted,
                           wanted == 1 ? "" : "s", option.values, values.size());
  if (values.size() > wanted)
    return StrUtil::format("option %s: unexpected value(%s)", name.c_str(),
                           ferrun::escapeControls(values[wanted]).c_str());
  return std::nullopt;
}

Fault wrongNumber(const Option& option, const std::vector<std::string>& values) {
  if (option.type == ValueType::kText) return std::nullopt;
  for (const std::string& value : values) {
    std::size_t end = 0;
    const bool isNumber = option.type == ValueType::kInteger
                              ? ferrun::toInt(value, &end).has_value()
                              : ferrun::toDouble(value, &end).has_value();
    if (isNumber && end == value.size()) continue;
    const char* const what = isNumber ? "other characters after the number" : "bad number";
    return StrUtil::format("option %s: %s(%s)", option.name, what,
                           ferrun::escapeControls(value).c_str());
  }
  return std::nullopt;
}

/// A fault when the option does not apply to the chosen mode or needs another option.
Fault notApplicable(const Option& option, const ArgOption& options) {
  const Mode mode = chosenMode(options);
  if ((option.modes & mode) == 0) {
    const char* const chosenBy = mode == kViewPcbin ? "b"
                                 : mode == kViewLas ? "r"
                                 : mode == kRepair  ? "repair"
                                                    : nullptr;
    const std::string where = chosenBy == nullptr ? "in a conversion" : "with " + typed(chosenBy);
    return StrUtil::format("option %s cannot be used %s", typed(option.name).c_str(),
                           where.c_str());
  }
  if (option.needs == nullptr || options.hasOption(option.needs) >= 0) return std::nullopt;
  const Option* const needed = findOption(option.needs);
  if (needed == nullptr || (needed->modes & mode) == 0) return std::nullopt;
  return StrUtil::format("option %s needs option %s", typed(option.name).c_str(),
                         typed(option.needs).c_str());
}

Fault strictFault(const ArgOption& options) {
  for (const auto& given : options.occurrences()) {
    const Option& option = *findOption(given.name);
    if (auto fault = wrongValueCount(option, given.values)) return fault;
    if (auto fault = wrongNumber(option, given.values)) return fault;
    if (given.values != options[given.name])
      return StrUtil::format("option %s is given twice, with different values",
                             typed(given.name).c_str());
  }
  for (const auto& given : options.occurrences()) {
    const Option& option = *findOption(given.name);
    if (!option.strict) continue;
    if (auto fault = notApplicable(option, options)) return fault;
  }
  return std::nullopt;
}

/// Whether `word` is "--name" or "--name=value" of an option marked `strict`.
bool isStrictWord(std::string_view word) {
  if (!word.starts_with("--")) return false;
  const Option* const option = findOption(word.substr(2, word.find('=') - 2));
  return option != nullptr && option->strict;
}

}  // namespace

std::optional<std::string> findFault(const ArgOption& options) {
  if (auto fault = unknownOption(options)) return fault;
  const bool strict = std::ranges::any_of(
      options.occurrences(), [](const auto& given) { return findOption(given.name)->strict; });
  return strict ? strictFault(options) : std::nullopt;
}

std::optional<std::string> explainRejection(const ArgOption& options, int argc, char** argv,
                                            bool toPerson) {
  if (!toPerson && std::none_of(argv + 1, argv + argc, isStrictWord)) return std::nullopt;
  const std::string& word = options.rejectedWord();
  const std::string shown = ferrun::escapeControls(word);
  if (!word.starts_with('-') || word.find_first_of("0123456789.") == 1 || word == "-")
    return StrUtil::format("word(%s) before the first option", shown.c_str());
  const std::string name = word.substr(0, word.find('='));
  if (name.size() < word.size() && name.starts_with("--") && findOption(name.substr(2)) != nullptr)
    return StrUtil::format("option %s cannot be given with a value after '='(%s)", name.c_str(),
                           shown.c_str());
  return StrUtil::format("word(%s) is neither an option nor a value", shown.c_str());
}

}  // namespace cli
