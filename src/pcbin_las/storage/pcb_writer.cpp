#include "pcbin_las/storage/pcb_writer.h"

#include <utility>

#include "pcbin_las/platform/thread.h"
#include "pcbin_las/platform/trace_macros.h"

namespace modeling_app {
namespace {

constexpr int kPollMilliseconds = 5000;
constexpr int kTransferHint = 131072;

}  // namespace

PcbWriter::PcbWriter(std::shared_ptr<ferrun::AsyncTaskQueue> queue) {
  taskQueue = std::move(queue);
  if (taskQueue) return;
  taskQueue = std::make_shared<ferrun::AsyncTaskQueue>("PclWriter");
  const ferrun::SchedParam param{{1}, false, 255, -1, ""};
  if (!taskQueue->init(1, param)) TRACE_MEMBER_ERROR(className, "PcbWriter", "init task error!");
}

PcbWriter::~PcbWriter() {
  PcbWriter::close();
}

bool PcbWriter::open(const std::string& path, unsigned newBufferSize) {
  if (!file) file = std::make_shared<ferrun::File>();
  if (file->isOpen()) return true;
  if (path.empty()) {
    TRACE_MEMBER_ERROR(className, "open", "file name empty!");
    return false;
  }
  file->setWMBuffer(newBufferSize);
  if (!file->open(path, ferrun::File::kWrite)) {
    TRACE_MEMBER_ERROR(className, "open", "open file(%s) error!", path.c_str());
    return false;
  }
  file->setTransferHint(kTransferHint);
  fileName = path;
  header = std::make_shared<PcbHeader>(emptyPcbHeader());
  frames = 0;
  points = 0;
  if (!writeHeader("open")) {
    header.reset();
    return false;
  }
  bufferSize = newBufferSize;
  frameCounter = 0;
  return true;
}

void PcbWriter::close() {
  for (int waiting = taskQueue->size(); waiting > 0; waiting = taskQueue->size()) {
    TRACE_MEMBER_WARNING(className, "close", "wait write tasks: %d", waiting);
    ferrun::Thread::msleep(kPollMilliseconds);
  }
  std::unique_lock lock(mutex);
  // The worker may have taken the last task and not yet locked the mutex.
  tasksBegun.wait(lock, [this] { return tasksNotBegun == 0; });
  if (!file) return;
  file->flush();
  if (header) {
    header->frames = frames;
    header->points = points;
    file->seek(0);
    writeHeader("close");
    header.reset();
  }
  file->close();
}

bool PcbWriter::writeHeader(const char* function) {
  const int length =
      file->writeData(reinterpret_cast<const char*>(header.get()), sizeof(PcbHeader));
  if (length == sizeof(PcbHeader)) return true;
  TRACE_MEMBER_ERROR(className, function, "file(%s) write header error, len: %d!", fileName.c_str(),
                     length);
  return false;
}

}  // namespace modeling_app
