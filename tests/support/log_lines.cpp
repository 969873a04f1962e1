// SPDX-License-Identifier: BSD-3-Clause
#include "support/log_lines.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <mutex>
#include <sstream>

#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/tracer.h"

namespace test {
namespace {

struct RecordingSink : ferrun::TracerSink {
  void write(const char* lines, std::size_t size) override {
    const std::lock_guard lock(mutex);
    text.append(lines, size);
  }
  std::mutex mutex;
  std::string text;
};

ferrun::Tracer& tracer() {
  return *ferrun::Singleton<ferrun::Tracer>::getInstance();
}

RecordingSink& recordingSink() {
  static const auto sink = [] {
    auto made = std::make_shared<RecordingSink>();
    tracer().addSink(made);
    tracer().start();
    return made;
  }();
  return *sink;
}

/// The local time as a line shows it.
std::string timeText() {
  using std::chrono::milliseconds;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(now).count();
  std::tm local{};
  char text[64];
  std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S.", localtime_r(&seconds, &local));
  const auto thousandths = std::chrono::floor<milliseconds>(now).count() % 1000;
  return text + std::to_string(1000 + thousandths).substr(1);
}

}  // namespace

Lines normalizedLines(const std::string& text, const std::string& from) {
  const std::string until = timeText();
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    const std::string time = line.substr(std::min<std::size_t>(3, line.size()), until.size());
    if (line.starts_with('<') && time >= from && time <= until)
      line.replace(3, time.size(), "TIME");
    const std::size_t end = line.find(']');
    const std::size_t number = line.rfind(",L", end);
    if (line.find("TIME [") == 3 && end != line.npos && number != line.npos)
      line.replace(number + 2, end - number - 2, "#");
    lines.push_back(line);
  }
  return lines;
}

CapturedLines::CapturedLines() : start_(timeText()) {
  tracer().flush();
  const std::lock_guard lock(recordingSink().mutex);
  recordingSink().text.clear();
}

Lines CapturedLines::lines() const {
  tracer().flush();
  const std::lock_guard lock(recordingSink().mutex);
  return normalizedLines(recordingSink().text, start_);
}

}  // namespace test
