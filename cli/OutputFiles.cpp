#include "OutputFiles.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <streambuf>
#include <system_error>

namespace tavric::cli {
namespace {

namespace fs = std::filesystem;

// A new private folder for the files standing for "-", with a random name
// (one that exists already is never used).
std::string NewTemporaryFolder() {
  std::error_code ec;
  fs::path base = fs::temp_directory_path(ec);
  if (ec) base = ".";
  std::random_device random;
  for (;;) {
    const fs::path folder = base / ("tavric-" + std::to_string(random()));
    std::error_code made;
    if (fs::create_directory(folder, made)) return folder.string();
    if (made) throw std::runtime_error("cannot make a temporary folder in " + base.string());
  }
}

void RemoveFolder(const std::string& folder) {
  std::error_code ec;
  if (!folder.empty()) fs::remove_all(folder, ec);
}

// Standard input, saved once to a file of its own.
struct SavedStandardInput {
  std::string folder;
  std::string path;
  ~SavedStandardInput() { RemoveFolder(folder); }
};

SavedStandardInput& SavedInput() {
  static SavedStandardInput saved;
  return saved;
}

class NullBuffer : public std::streambuf {
 protected:
  int overflow(int c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

std::ostream& RealOutput() {
  static std::ostream real(std::cout.rdbuf());
  return real;
}

}  // namespace

void AddForceOption(CLI::App& command, bool& force) {
  command.add_flag("-f,--force", force, "Replace output files that exist already");
}

bool SameFile(const std::string& a, const std::string& b) {
  std::error_code ec;
  if (fs::equivalent(a, b, ec)) return true;
  const fs::path ca = fs::weakly_canonical(a, ec);
  if (ec) return false;
  const fs::path cb = fs::weakly_canonical(b, ec);
  return !ec && ca == cb;
}

std::string RefuseOutputs(const char* command, const std::vector<PlannedOutput>& outputs,
                          const std::vector<std::string>& inputs, bool force) {
  const std::string head = std::string("tavric ") + command + ": ";
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    const PlannedOutput& out = outputs[i];
    if (out.path == kStandardStream) continue;
    for (const std::string& input : inputs) {
      if (input != kStandardStream && SameFile(out.path, input))
        return head + "the " + out.what + " " + out.path + " would replace the input file " +
               input + "; give another name";
    }
    for (std::size_t k = 0; k < i; ++k) {
      if (outputs[k].path != kStandardStream && SameFile(out.path, outputs[k].path))
        return head + "the " + out.what + " " + out.path + " and the " + outputs[k].what + " " +
               outputs[k].path + " are the same file; give two names";
    }
    std::error_code ec;
    if (!force && fs::exists(fs::symlink_status(out.path, ec)))
      return head + out.path + " exists already; give --force to replace it";
  }
  return {};
}

bool OutputsAllowed(const char* command, const std::vector<PlannedOutput>& outputs,
                    const std::vector<std::string>& inputs, bool force) {
  const std::string refusal = RefuseOutputs(command, outputs, inputs, force);
  if (refusal.empty()) return true;
  std::cerr << refusal << '\n';
  return false;
}

OutputTarget::OutputTarget(std::string name) : path_(std::move(name)) {
  if (path_ != kStandardStream) return;
  folder_ = NewTemporaryFolder();
  path_ = (fs::path(folder_) / "output").string();
}

OutputTarget::~OutputTarget() { RemoveFolder(folder_); }

void OutputTarget::CopyToStandardOutput() const {
  if (!to_standard_output()) return;
  std::ifstream in(path_, std::ios::binary);
  // (inserting an empty buffer would mark the stream as failed)
  if (in.peek() != std::ifstream::traits_type::eof()) StandardOutput() << in.rdbuf();
}

std::string InputPath(const std::string& name) {
  if (name != kStandardStream) return name;
  SavedStandardInput& saved = SavedInput();
  if (saved.path.empty()) {
    saved.folder = NewTemporaryFolder();
    saved.path = (fs::path(saved.folder) / "standard-input").string();
    std::ofstream out(saved.path, std::ios::binary);
    out << std::cin.rdbuf();
  }
  return saved.path;
}

std::string WhyNotWritten(const std::string& path) {
  std::error_code ec;
  const fs::path file(path);
  const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
  if (fs::is_directory(file, ec)) return path + " is a folder; give a file name";
  if (!fs::exists(folder, ec))
    return "the folder " + folder.string() + " does not exist; create it first";
  if (!fs::is_directory(folder, ec)) return folder.string() + " is not a folder";
  if (access(folder.string().c_str(), W_OK) != 0)
    return "this user cannot write into the folder " + folder.string();
  return "the disk may be full, or the device failed; an existing file of that name was left "
         "as it was";
}

std::string InputName(const std::string& path) {
  const std::string& saved = SavedInput().path;
  return !saved.empty() && path == saved ? std::string(kStandardStream) : path;
}

void BeQuiet() {
  // Never destroyed: std::cout is flushed at exit, after static objects go.
  static NullBuffer* const null = new NullBuffer;
  RealOutput();  // keeps the real buffer before it is replaced
  std::cout.rdbuf(null);
}

std::ostream& StandardOutput() { return RealOutput(); }

bool StandardOutputWritten() {
  std::ostream& out = RealOutput();
  std::cout.flush();
  out.flush();
  return !out.fail() && !std::cout.fail();
}

}  // namespace tavric::cli
