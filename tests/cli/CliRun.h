// Runs the built tavric executable for the command-line tool's tests and
// captures its exit status, standard output and standard error.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace tavric::testing {

struct CliResult {
  int status = -1;
  std::string out;
  std::string err;
};

// A bundled example file, e.g. Example("sphere-scan-marked.txt").
inline std::string Example(const std::string& name) {
  return std::string(TAVRIC_EXAMPLES_DIR) + "/" + name;
}

// A file of the source tree, e.g. SourceFile("docs/cli.md").
inline std::string SourceFile(const std::string& name) {
  return std::string(TAVRIC_SOURCE_DIR) + "/" + name;
}

inline std::string ShellQuote(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

// The status of a run that RunCliWithin stopped (that of coreutils' timeout).
inline constexpr int kTimedOut = 124;

// Runs `tavric args...`, stopped after `seconds` when given (status
// kTimedOut); `input`, when not empty, is the file given as standard input
// (otherwise /dev/null).
inline CliResult RunCliWithin(int seconds, const std::vector<std::string>& args,
                              const std::string& input = {}) {
  TempDir dir;
  std::string command = seconds > 0 ? "timeout -k 1 " + std::to_string(seconds) + " " : "";
  command += ShellQuote(TAVRIC_CLI_PATH);
  for (const std::string& a : args) command += " " + ShellQuote(a);
  command += " < " + ShellQuote(input.empty() ? "/dev/null" : input);
  command += " > " + ShellQuote(dir.File("out")) + " 2> " + ShellQuote(dir.File("err"));
  const int raw = std::system(command.c_str());
  CliResult r;
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  r.out = ReadFileBytes(dir.File("out"));
  r.err = ReadFileBytes(dir.File("err"));
  return r;
}

inline CliResult RunCli(const std::vector<std::string>& args, const std::string& input = {}) {
  return RunCliWithin(0, args, input);
}

// The standard output of a run parsed as JSON (a parse error fails the test).
inline nlohmann::json Json(const CliResult& r) {
  try {
    return nlohmann::json::parse(r.out);
  } catch (const nlohmann::json::exception& e) {
    ADD_FAILURE() << "not JSON: " << e.what() << "\n" << r.out;
    return {};
  }
}

// The first line of a text, without its line end: the library's failure text
// on standard error, above the lines that explain it.
inline std::string FirstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

inline bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace tavric::testing
