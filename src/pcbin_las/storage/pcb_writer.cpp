// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/storage/pcb_writer.h"

#include <cstring>
#include <new>
#include <utility>

#include "pcbin_las/platform/byte_image.h"
#include "pcbin_las/platform/thread.h"
#include "pcbin_las/storage/report_error.h"

namespace modeling_app {
namespace {

constexpr int kPollMilliseconds = 5000;
constexpr int kTransferHint = 131072;

}  // namespace

std::string WriteStatus::reason() const {
  return std::strerror(error);
}

PcbWriter::PcbWriter(std::shared_ptr<ferrun::AsyncTaskQueue> queue) {
  taskQueue = std::move(queue);
  if (taskQueue) return;
  taskQueue = std::make_shared<ferrun::AsyncTaskQueue>("PclWriter");
  const ferrun::SchedParam param{{1}, false, 255, -1, ""};
  if (!taskQueue->init(1, param))
    TRACE_MEMBER_ERROR(className.c_str(), "PcbWriter", "init task error!");
}

PcbWriter::~PcbWriter() {
  PcbWriter::close();
}

bool PcbWriter::open(const std::string& path, unsigned newBufferSize) {
  if (file && file->isOpen()) return true;
  errorText.clear();
  try {
    if (!openFile(path, newBufferSize)) return false;
  } catch (const std::bad_alloc&) {
    PCBIN_REPORT_ERROR(className, "open", "no memory to open file(%s)!", path.c_str());
    header.reset();
    if (file) file->close();
    return false;
  }
  bufferSize = newBufferSize;
  frameCounter = 0;
  return true;
}

bool PcbWriter::openFile(const std::string& path, unsigned newBufferSize) {
  if (!file) file = std::make_shared<ferrun::File>();
  if (path.empty()) {
    PCBIN_REPORT_ERROR(className, "open", "file name empty!");
    return false;
  }
  file->setWMBuffer(newBufferSize);
  if (!file->open(path, ferrun::File::kWrite)) {
    rememberError("file(%s) cannot be written: %s!", path.c_str(), std::strerror(errno));
    TRACE_MEMBER_ERROR(className.c_str(), "open", "open file(%s) error!", path.c_str());
    return false;
  }
  file->setTransferHint(kTransferHint);
  fileName = path;
  header = std::make_shared<PcbHeader>(emptyPcbHeader());
  setCounts(0, 0);
  writeError = 0;
  storedFrames = storedPoints = 0;
  backlogReported = false;
  wholeEnd = sizeof(PcbHeader);
  if (writeHeader("open")) return true;
  header.reset();
  return false;
}

void PcbWriter::close() {
  taskQueue->runHere();  // a shared queue without init() has no worker
  for (int waiting = taskQueue->size(); waiting > 0; waiting = taskQueue->size()) {
    TRACE_MEMBER_WARNING(className.c_str(), "close", "wait write tasks: %d", waiting);
    ferrun::Thread::msleep(kPollMilliseconds);
  }
  taskQueue->waitForTasks();  // the worker may not have locked the mutex yet for the last task
  const std::lock_guard lock(mutex);
  if (!file || !file->isOpen()) return;
  file->flush();
  recordWriteError();
  if (header) {
    if (writeError != 0 && file->isRegular()) file->truncate(wholeEnd);
    file->seek(0);
    writeHeader("close");
    header.reset();
  }
  syncFile();
  file->close();
  recordWriteError();
  reportFailure();
}

void PcbWriter::waitForFrames() {
  taskQueue->runHere();
  taskQueue->waitForTasks();
}

bool PcbWriter::sync() {
  waitForFrames();
  const std::lock_guard lock(mutex);
  if (!isOpen()) return false;
  syncFile();
  return writeError == 0;
}

WriteStatus PcbWriter::writeStatus() const {
  return {writeError, storedFrames, storedPoints, queuedBytes};
}

void PcbWriter::syncFile() {
  const int error = file->sync();
  if (writeError == 0) writeError = error;
}

/// Writes the header to disk.
bool PcbWriter::writeHeader(const char* function) {
  int length = ferrun::writeImage(*file, *header);
  file->flush();
  recordWriteError();
  if (file->writeError() != 0) length = static_cast<int>(file->pos());
  if (length == sizeof(PcbHeader)) return true;
  PCBIN_REPORT_ERROR(className, function, "file(%s) write header error, len: %d!", fileName.c_str(),
                     length);
  return false;
}

void PcbWriter::recordWriteError() {
  if (writeError == 0) writeError = file->writeError();
}

/// Prints one line when a write has failed, or when all was written and the disk may not hold it.
void PcbWriter::reportFailure() {
  if (writeError == 0) return;
  const char* const reason = std::strerror(writeError);
  if (storedFrames == frames) {
    PCBIN_REPORT_ERROR(className, "close", "file(%s) may be incomplete on the disk: %s!",
                       fileName.c_str(), reason);
    return;
  }
  PCBIN_REPORT_ERROR(className, "close",
                     "file(%s) is incomplete, %llu of %llu frames and %llu of %llu points were "
                     "written: %s!",
                     fileName.c_str(), static_cast<unsigned long long>(storedFrames),
                     static_cast<unsigned long long>(frames),
                     static_cast<unsigned long long>(storedPoints),
                     static_cast<unsigned long long>(points), reason);
}

}  // namespace modeling_app
