#include "pcbin_las/platform/console_in.h"

#include <iostream>

#include "pcbin_las/platform/singleton.h"
#include "pcbin_las/platform/tracer.h"

namespace ferrun {

void ConsoleIn::waitIn() {
  Singleton<Tracer>::getInstance()->flush();
  line_.clear();
  std::getline(std::cin, line_);
}

}  // namespace ferrun
