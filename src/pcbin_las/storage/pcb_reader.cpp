// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/storage/pcb_reader.h"

#include <cerrno>
#include <cstring>
#include <new>

#include "pcbin_las/platform/byte_image.h"
#include "pcbin_las/storage/report_error.h"

namespace modeling_app {

PcbReader::PcbReader() = default;

PcbReader::~PcbReader() {
  PcbReader::close();
}

bool PcbReader::open(const std::string& path, unsigned newBufferSize) {
  if (file && file->isOpen()) return true;
  errorText.clear();
  readEnd = ReadEnd::kEndOfFile;
  try {
    if (!openFile(path) || !readHeader()) return false;
  } catch (const std::bad_alloc&) {
    PCBIN_REPORT_ERROR(className, "open", "no memory to open file(%s)!", path.c_str());
    PcbReader::close();
    return false;
  }
  bufferSize = newBufferSize;
  TRACE_MEMBER_INFO(className.c_str(), "open", "pcbin open ok, frames: %u, points: %u.",
                    totalFrames(), totalPoints());
  return true;
}

bool PcbReader::openFile(const std::string& path) {
  if (!file) file = std::make_shared<ferrun::File>();
  if (path.empty() || !ferrun::File::exists(path)) {
    PCBIN_REPORT_ERROR(className, "open", "file(%s) not exists!", path.c_str());
    return false;
  }
  fileName = path;
  if (file->open(fileName, ferrun::File::kRead)) return true;
  const std::string reason = std::strerror(errno);
  PCBIN_REPORT_ERROR(className, "open", "file(%s) cannot be read: %s!", fileName.c_str(),
                     reason.c_str());
  TRACE_MEMBER_ERROR(className.c_str(), "open", "open file(%s) error!", fileName.c_str());
  return false;
}

bool PcbReader::readHeader() {
  PcbHeader read{};
  const int length = ferrun::readImage(*file, read);
  if (length != sizeof(read)) {
    PCBIN_REPORT_ERROR(className, "open", "file(%s) read header error, len: %d!", fileName.c_str(),
                       length);
    return false;
  }
  header = std::make_shared<PcbHeader>(read);
  frames = read.frames;
  points = read.points;
  if (isPcbHeader(read)) return true;
  PCBIN_REPORT_ERROR(className, "open", "file(%s) is not pcbin file!", fileName.c_str());
  return false;
}

void PcbReader::close() {
  const std::lock_guard lock(mutex);
  if (file) file->close();
  header.reset();
  forgetFrames();
}

}  // namespace modeling_app
