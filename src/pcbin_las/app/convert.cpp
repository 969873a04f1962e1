// SPDX-License-Identifier: BSD-3-Clause
#include "pcbin_las/app/convert.h"

#include <string>

#include "pcbin_las/export/pcbin_las.h"
#include "pcbin_las/platform/file.h"
#include "pcbin_las/platform/trace_macros.h"
#include "pcbin_las/process/console_in.h"

namespace {

constexpr int kNotConverted = -1;

/// Asks before a file is overwritten; true for the answers Y and y.
bool mayOverwrite(const std::string& lasPath) {
  TRACE_PROMPT("las file(%s) exist, do you want to overwrite it? Y/N", lasPath.c_str());
  ferrun::ConsoleIn console;
  console.waitIn();
  const auto answer = console.as<std::string>();
  return answer == "Y" || answer == "y";
}

}  // namespace

bool checkInputs(const Conversion& conversion) {
  if (!ferrun::File::exists(conversion.pcbinPath)) {
    TRACE_ERROR("main", "pcbin file(%s) not exist!", conversion.pcbinPath.c_str());
    return false;
  }
  if (conversion.pgoPath.empty() || !ferrun::File::exists(conversion.pgoPath))
    TRACE_WARNING("main", "pgo file(%s), no pgo records!", conversion.pgoPath.c_str());
  return true;
}

int convert_dialogue(const Conversion& conversion) {
  if (!checkInputs(conversion)) return kNotConverted;
  if (ferrun::File::exists(conversion.lasPath) && !mayOverwrite(conversion.lasPath)) {
    TRACE_INFO("main", "quit.");
    return 0;
  }
  ConversionResult result;
  if (convertSurvey(conversion, Style::kDialogue, result))
    TRACE_INFO("main", "pcbin to las success.");
  else
    TRACE_ERROR("main", "pcbin to las failed!");
  if (result.wrongClock) return kNotConverted;
  TRACE_PROMPT("press any key to quit...");
  ferrun::ConsoleIn().waitIn();
  return 0;
}
