// SPDX-License-Identifier: BSD-3-Clause
// Fuzzes the parser of command lines, one word per line, and the conversion of numbers.
#include <cmath>
#include <optional>

#include "fuzz_input.h"
#include "pcbin_las/platform/number.h"
#include "pcbin_las/platform/str_util.h"
#include "pcbin_las/process/arg_option.h"

namespace {

/// The result of the standard library's conversion, or nothing when it throws.
template <class Convert>
auto standard(Convert convert, const std::string& value)
    -> std::optional<decltype(convert(value))> {
  try {
    return convert(value);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

void checkValue(const std::string& value) {
  fuzz::require(ferrun::toInt(value) ==
                standard([](const std::string& t) { return std::stoi(t); }, value));
  fuzz::require(ferrun::toUnsignedLong(value) ==
                standard([](const std::string& t) { return std::stoul(t); }, value));
  const auto real = standard([](const std::string& t) { return std::stod(t); }, value);
  if (real && std::isfinite(*real)) fuzz::require(ferrun::toDouble(value) == real);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto words = ferrun::StrUtil::splitString("pcbin_las\n" + fuzz::text(data, size), "\n", false);
  std::vector<char*> argv;
  argv.reserve(words.size());
  for (std::string& word : words) argv.push_back(word.data());
  ferrun::ArgOption options;
  const bool parsed = options.parseArgs(static_cast<int>(argv.size()), argv.data());
  for (const char* const name : {"b", "r", "repair", "i", "o", "f", "offset", "s", "n", "v", "d"}) {
    const auto values = options[name];
    const int count = options.hasOption(name);
    fuzz::require(count == static_cast<int>(values.size()) || (count == -1 && values.empty()));
    fuzz::require(parsed || count == -1);
    for (const std::string& value : values) checkValue(value);
  }
  return 0;
}
