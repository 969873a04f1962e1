#include "pcbin_las/storage/pcb_reader.h"

#include <cerrno>
#include <cstring>

#include "pcbin_las/platform/trace_macros.h"

namespace modeling_app {

PcbReader::~PcbReader() {
  PcbReader::close();
}

bool PcbReader::open(const std::string& path, unsigned newBufferSize) {
  if (!file) file = std::make_shared<ferrun::File>();
  if (file->isOpen()) return true;
  if (path.empty() || !ferrun::File::exists(path)) {
    TRACE_MEMBER_ERROR(className, "open", "file(%s) not exists!", path.c_str());
    return false;
  }
  fileName = path;
  if (!file->open(fileName, ferrun::File::kRead)) {
    TRACE_MEMBER_ERROR(className, "open", "file(%s) cannot be read: %s!", fileName.c_str(),
                       std::strerror(errno));
    TRACE_MEMBER_ERROR(className, "open", "open file(%s) error!", fileName.c_str());
    return false;
  }

  PcbHeader read{};
  const int length = file->readData(reinterpret_cast<char*>(&read), sizeof(read));
  if (length != sizeof(read)) {
    TRACE_MEMBER_ERROR(className, "open", "file(%s) read header error, len: %d!", fileName.c_str(),
                       length);
    return false;
  }
  header = std::make_shared<PcbHeader>(read);
  frames = read.frames;
  points = read.points;
  if (!isPcbHeader(read)) {
    TRACE_MEMBER_ERROR(className, "open", "file(%s) is not pcbin file!", fileName.c_str());
    return false;
  }
  bufferSize = newBufferSize;
  TRACE_MEMBER_INFO(className, "open", "pcbin open ok, frames: %u, points: %u.", totalFrames(),
                    totalPoints());
  return true;
}

void PcbReader::close() {
  const std::lock_guard lock(mutex);
  if (file) file->close();
  header.reset();
  block.release();
  irtStorage->release();
  rgbStorage->release();
  undecodedPoints = 0;
}

}  // namespace modeling_app
