// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/progress_bar.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unistd.h>

#include "pcbin_las/platform/str_util.h"

namespace {

constexpr int kBarWidth = 24;

/// Ignores errors: the bar is not essential.
void draw(std::string_view text) {
  (void)!::write(STDERR_FILENO, text.data(), text.size());
}

/// "12:05", or "1:02:03" from an hour on.
std::string duration(double seconds) {
  const auto whole = static_cast<long long>(std::min(seconds, 1e9));
  const auto minutes = static_cast<int>(whole / 60 % 60);
  const auto rest = static_cast<int>(whole % 60);
  if (whole < 3600) return ferrun::StrUtil::format("%d:%02d", minutes, rest);
  return ferrun::StrUtil::format("%lld:%02d:%02d", whole / 3600, minutes, rest);
}

}  // namespace

ProgressBar::ProgressBar() : onTerminal_(isatty(STDERR_FILENO) == 1) {}

void ProgressBar::update(double fraction, std::uint64_t points) {
  if (!onTerminal_) return;
  const std::lock_guard lock(mutex_);
  if (!rate_.wakeup(0.0F)) return;
  const double seconds = std::chrono::duration<double>(Clock::now() - start_).count();
  const double done = std::clamp(fraction, 0.0, 1.0);
  const auto filled = static_cast<std::size_t>(done * kBarWidth);
  std::string line = "\r[" + std::string(filled, '=') + std::string(kBarWidth - filled, ' ') + "]";
  line += ferrun::StrUtil::format(" %5.1f%%  %.2f million points/s", 100 * done,
                                  seconds > 0 ? static_cast<double>(points) / seconds / 1e6 : 0.0);
  if (done > 0) line += "  " + duration(seconds * (1 - done) / done) + " left";
  draw(line + "\033[K");
  drawn_ = true;
}

void ProgressBar::erase() {
  const std::lock_guard lock(mutex_);
  if (drawn_) draw("\r\033[K");
  drawn_ = false;
}
