// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/tracer.h"
#include "support/temp_dir.h"

namespace fuzz {

/// The input as text.
inline std::string text(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// Has every line formatted and then thrown away; call it before anything that prints.
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

/// The directory of inputFile() and of what the program writes beside it.
inline const test::TempDir& directory() {
  static const test::TempDir instance;
  return instance;
}

/// The path of a file with these contents, the same at every call.
inline std::string inputFile(const std::string& contents) {
  return directory().write("input", contents);
}

/// Ends the run as a crash when something does not hold that must hold for every input.
inline void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace fuzz
