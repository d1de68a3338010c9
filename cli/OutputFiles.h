// Where a subcommand may write, and standard input and output given as "-".
//
// Every subcommand that writes files (calibrate, simulate, and any later one
// such as a report) follows the same rules, through these helpers:
//   - a file is never written over one of the run's inputs: paths are
//     compared as the files they name (canonical paths, so "./scan.txt",
//     "dir/../scan.txt" or a link to it are all the input);
//   - an existing file is replaced only when --force is given;
//   - one run never writes two of its outputs to the same file;
//   - "-" names standard output, never a file called "-";
//   - the library writes every file whole or not at all (a temporary file
//     renamed over the target), so a failed write leaves an existing file as
//     it was.
// A refused output is a usage error (status 2), found before anything runs.
#pragma once

#include <string>
#include <vector>

#include "Commands.h"

namespace tavric::cli {

// "-", which stands for standard input or standard output.
inline constexpr const char* kStandardStream = "-";

// Adds --force ("replace existing output files") to a subcommand.
void AddForceOption(CLI::App& command, bool& force);

// Whether two names denote the same file: an existing one (the same file
// whatever the spelling or link) or the same place for one yet to be made.
bool SameFile(const std::string& a, const std::string& b);

// One file a run will write (or "-").
struct PlannedOutput {
  std::string path;
  // What it is, for the messages: "calibration file", "data file"...
  std::string what;
};

// Why the run of `command` may not write its `outputs`, given its `inputs`
// and --force, as a message naming the file and the way out; an empty text
// when every output may be written.
std::string RefuseOutputs(const char* command, const std::vector<PlannedOutput>& outputs,
                          const std::vector<std::string>& inputs, bool force);

// RefuseOutputs, with its message written on standard error: true when the
// outputs may be written.
bool OutputsAllowed(const char* command, const std::vector<PlannedOutput>& outputs,
                    const std::vector<std::string>& inputs, bool force);

// For a writer of the library that takes a path: `name` itself, or, for
// "-", a file in a private temporary folder whose content
// CopyToStandardOutput then sends to standard output.
class OutputTarget {
 public:
  explicit OutputTarget(std::string name);
  ~OutputTarget();
  OutputTarget(const OutputTarget&) = delete;
  OutputTarget& operator=(const OutputTarget&) = delete;

  bool to_standard_output() const { return !folder_.empty(); }
  // The path to hand to the library's writer.
  const std::string& path() const { return path_; }
  // Sends the written file to standard output (for "-"; nothing otherwise).
  void CopyToStandardOutput() const;

 private:
  std::string path_;
  std::string folder_;
};

// Why writing the file `path` may have failed, from what the file system
// shows now: a missing folder, a folder in the file's place, a folder this
// user cannot write; else a full disk or a device error.
std::string WhyNotWritten(const std::string& path);

// The path to read a data file or reading list from: `name` itself, or, for
// "-", a file holding all of standard input (read once per run).
std::string InputPath(const std::string& name);
// The name the user gave for the file at `path`: "-" for standard input's
// copy, otherwise `path` itself.
std::string InputName(const std::string& path);

// --quiet: from now on what the subcommands print on std::cout is dropped;
// StandardOutput() still reaches the real standard output.
void BeQuiet();

// The real standard output, even under --quiet: for JSON objects and for
// files sent there with "-o -".
std::ostream& StandardOutput();

// Flushes standard output; false when anything written there was lost (a
// full disk, a closed pipe).
bool StandardOutputWritten();

}  // namespace tavric::cli
