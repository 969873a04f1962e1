// SPDX-License-Identifier: BSD-3-Clause
// The median.
#pragma once

#include <algorithm>
#include <functional>
#include <vector>

/// The middle one of values that are ordered by `key`, the upper of two middle ones; reorders
/// `values`, which must not be empty.
template <class Value, class Key = std::identity>
Value median(std::vector<Value>& values, Key key = {}) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle, {}, key);
  return *middle;
}
