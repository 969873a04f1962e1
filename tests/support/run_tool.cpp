// SPDX-License-Identifier: BSD-3-Clause
#include "support/run_tool.h"

#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>

#include "support/temp_dir.h"

namespace test {
namespace {

/// The text as one word of a shell command.
std::string quoted(const std::string& text) {
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? "'\\''" : std::string(1, c);
  return word + "'";
}

}  // namespace

std::vector<std::string> toolCommand() {
  std::vector<std::string> words;
  std::istringstream command(PCBIN_TOOL_COMMAND);
  for (std::string word; command >> word;) words.push_back(word);
  return words;
}

ToolRun runTool(const std::vector<std::string>& arguments, const std::string& directory,
                const std::string& input) {
  const TempDir inputDirectory;
  std::string command = "cd " + quoted(directory) + " && exec";
  for (const std::string& word : toolCommand()) command.append(" ").append(quoted(word));
  for (const std::string& argument : arguments) command.append(" ").append(quoted(argument));
  command += " < " + quoted(inputDirectory.write("input", input));
  FILE* const output = popen(command.c_str(), "re");
  if (output == nullptr) throw std::runtime_error("no process");
  ToolRun run;
  for (int c = 0; (c = std::getc(output)) != EOF;) run.output += static_cast<char>(c);
  const int status = pclose(output);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  run.lines = normalizedLines(run.output);
  return run;
}

}  // namespace test
