// SPDX-License-Identifier: BSD-3-Clause
#include "support/log_lines.h"

#include <memory>
#include <mutex>
#include <regex>
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

}  // namespace

Lines normalizedLines(const std::string& text) {
  static const std::regex time(R"(^(<[EWI]>)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )");
  static const std::regex sourceLine(R"(^(<[EW]>TIME \[[^\]]*,L)\d+\])");
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    line = std::regex_replace(line, time, "$1TIME ");
    lines.push_back(std::regex_replace(line, sourceLine, "$1#]"));
  }
  return lines;
}

CapturedLines::CapturedLines() {
  tracer().flush();
  const std::lock_guard lock(recordingSink().mutex);
  recordingSink().text.clear();
}

Lines CapturedLines::lines() const {
  tracer().flush();
  const std::lock_guard lock(recordingSink().mutex);
  return normalizedLines(recordingSink().text);
}

}  // namespace test
