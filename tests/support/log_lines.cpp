#include "support/log_lines.h"

#include <memory>
#include <mutex>
#include <regex>
#include <sstream>

#include "platform/singleton.h"
#include "platform/tracer.h"

namespace test {
namespace {

class RecordingSink : public ferrun::TracerSink {
 public:
  void write(const char* lines, std::size_t size) override {
    const std::lock_guard lock(mutex_);
    text_.append(lines, size);
  }
  void clear() {
    const std::lock_guard lock(mutex_);
    text_.clear();
  }
  std::string text() {
    const std::lock_guard lock(mutex_);
    return text_;
  }

 private:
  std::mutex mutex_;
  std::string text_;
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
  recordingSink().clear();
}

Lines CapturedLines::lines() const {
  return normalizedLines(text());
}

std::string CapturedLines::text() const {
  tracer().flush();
  return recordingSink().text();
}

}  // namespace test
