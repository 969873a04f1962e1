#include "pcbin_las/app/help.h"

#include <cstdio>

void help(char* program) {
  std::printf(
      "\033[33m\033[1m%s --repair <map.las>\n"
      "%s [-b <pgo.pcbin>] [-v <verbose>] [-s <start>] [-n <nums>]\n"
      "%s [-r <map.las>] [-v <verbose>] [-s <start>] [-n <nums>]\n"
      "%s [-i <pgo.pcbin>] [-o <map.las>] [-f <pgo.csv>] [--offset <x> <y> <z>] [-h]\033[0m\n",
      program, program, program, program);
}
