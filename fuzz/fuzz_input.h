// SPDX-License-Identifier: BSD-3-Clause
// Shared by the fuzz targets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/tracer.h"
#include "support/temp_dir.h"

namespace fuzz {

/// The input as text.
inline std::string text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Starts the tracer with a sink that discards all lines; call it before anything that prints.
inline void discardLines() {
  class DiscardingSink : public ferrun::TracerSink {
    void write(const char* lines, std::size_t size) override { (void)lines, (void)size; }
  };
  static const bool started = [] {
    auto* const tracer = ferrun::Singleton<ferrun::Tracer>::getInstance();
    tracer->addSink(std::make_shared<DiscardingSink>());
    tracer->start();
    return true;
  }();
  (void)started;
}

/// The directory of inputFile() and of the program's outputs.
inline const test::TempDir& directory() {
  static const test::TempDir instance;
  return instance;
}

/// Writes a file with these contents and returns its path, which is the same for every call.
inline std::string inputFile(const std::string& contents) {
  return directory().write("input", contents);
}

/// Whether a line may name a sweep id that needs much memory: the lists of poses are as long as the
/// largest id. Ids beyond the limit are rejected early and are allowed here.
inline bool namesDistantSweep(const std::string& file) {
  std::istringstream lines(file);
  for (std::string line; std::getline(lines, line);) {
    const unsigned long id = std::strtoul(line.substr(line.find(',') + 1).c_str(), nullptr, 10);
    if (id > 999 && id <= 16777215) return true;
  }
  return false;
}

/// Crashes when a condition is false that must be true for every input.
inline void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace fuzz
