// SPDX-License-Identifier: BSD-3-Clause
// The checks of a command line before its values are read.
#include <algorithm>
#include <string_view>
#include <vector>

#include "pcbin_las/app/option_table.h"
#include "pcbin_las/app/option_values.h"
#include "pcbin_las/platform/escape.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/str_util.h"

namespace cli {
namespace {

using ferrun::ArgOption;
using ferrun::StrUtil;

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

Fault unknownOption(const ArgOption& words) {
  for (const auto& given : words.occurrences()) {
    if (findOption(given.name) != nullptr) continue;
    const auto nearest = std::ranges::min_element(
        allOptions(), {}, [&](const Option& known) { return distance(given.name, known.name); });
    return StrUtil::format("unknown option(%s), the nearest known one is %s",
                           ferrun::escapeControls(typed(given.name)).c_str(),
                           typed(nearest->name).c_str());
  }
  return std::nullopt;
}

/// The words that stand for the values of an option.
std::vector<std::string> valueWords(const Option& option) {
  const std::string_view words = option.values;
  return words.empty() ? Values{} : StrUtil::splitString(option.values, " ", false);
}

Fault wrongValueCount(const Option& option, const Values& values) {
  const Values words = valueWords(option);
  const auto needed = static_cast<std::size_t>(
      std::ranges::count_if(words, [](const std::string& word) { return !word.starts_with('['); }));
  const std::string name = typed(option.name);
  if (values.size() < needed)
    return StrUtil::format("option %s needs %zu value%s(%s), %zu given", name.c_str(), needed,
                           needed == 1 ? "" : "s", option.values, values.size());
  if (std::ranges::find(values, "") != values.end())
    return StrUtil::format("option %s needs %zu value%s(%s), an empty one given", name.c_str(),
                           needed, needed == 1 ? "" : "s", option.values);
  if (values.size() > words.size())
    return StrUtil::format("option %s: unexpected value(%s)", name.c_str(),
                           ferrun::escapeControls(values[words.size()]).c_str());
  return std::nullopt;
}

/// A fault when a value is none of the words listed for it.
Fault wrongWord(const Option& option, const Values& values) {
  if (option.type != ValueType::kWord) return std::nullopt;
  const Values words = valueWords(option);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::string list =
        words[i].starts_with('[') ? words[i].substr(1, words[i].size() - 2) : words[i];
    const Values known = StrUtil::splitString(list, "|", false);
    if (std::ranges::find(known, values[i]) == known.end())
      return StrUtil::format("option %s: value(%s) is none of %s", typed(option.name).c_str(),
                             ferrun::escapeControls(values[i]).c_str(), list.c_str());
  }
  return std::nullopt;
}

Fault wrongNumber(const Option& option, const Values& values) {
  if (option.type == ValueType::kText || option.type == ValueType::kWord) return std::nullopt;
  for (const std::string& value : values) {
    const std::string text = option.type == ValueType::kEpsgCode ? withoutEpsg(value) : value;
    std::size_t end = 0;
    const bool isNumber = option.type == ValueType::kReal ? ferrun::toDouble(text, &end).has_value()
                                                          : ferrun::toInt(text, &end).has_value();
    if (isNumber && end == text.size()) continue;
    const char* const what = isNumber ? "other characters after the number" : "bad number";
    return StrUtil::format("option %s: %s(%s)", typed(option.name).c_str(), what,
                           ferrun::escapeControls(value).c_str());
  }
  return std::nullopt;
}

/// A fault when the option does not apply to the chosen mode or needs another option.
Fault notApplicable(const Option& option, const ArgOption& words) {
  const Option* const selected = modeOption(words);
  const unsigned mode = selected == nullptr ? kConvert : selected->modes;
  if ((option.modes & mode) == 0) {
    const std::string where =
        selected == nullptr ? "in a conversion" : "with " + typed(selected->name);
    return StrUtil::format("option %s cannot be used %s", typed(option.name).c_str(),
                           where.c_str());
  }
  if (option.needs == nullptr || words.hasOption(option.needs) >= 0) return std::nullopt;
  const Option* const needed = findOption(option.needs);
  if (needed == nullptr || (needed->modes & mode) == 0) return std::nullopt;
  return StrUtil::format("option %s needs option %s", typed(option.name).c_str(),
                         typed(option.needs).c_str());
}

Fault strictFault(const ArgOption& words) {
  for (const auto& given : words.occurrences()) {
    const Option& option = *findOption(given.name);
    if (auto fault = wrongValueCount(option, given.values)) return fault;
    if (auto fault = wrongWord(option, given.values)) return fault;
    if (auto fault = wrongNumber(option, given.values)) return fault;
    if (given.values != words[given.name])
      return StrUtil::format("option %s is given twice, with different values",
                             typed(given.name).c_str());
  }
  for (const auto& given : words.occurrences()) {
    const Option& option = *findOption(given.name);
    if (!option.strict) continue;
    if (auto fault = notApplicable(option, words)) return fault;
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

Fault findFault(const ArgOption& words) {
  if (auto fault = unknownOption(words)) return fault;
  const bool strict = std::ranges::any_of(
      words.occurrences(), [](const auto& given) { return findOption(given.name)->strict; });
  return strict ? strictFault(words) : std::nullopt;
}

std::optional<std::string> explainRejection(const ArgOption& words, int argc, char** argv,
                                            bool toPerson) {
  if (!toPerson && std::none_of(argv + 1, argv + argc, isStrictWord)) return std::nullopt;
  const std::string& word = words.rejectedWord();
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
