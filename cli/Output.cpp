#include <cstdio>
#include <filesystem>
#include <iostream>

#include "Commands.h"
#include "tavric/Version.h"

namespace tavric::cli {

// The version of the layout of the JSON objects; it changes only when a key
// is removed or changes its meaning.
constexpr int kJsonSchema = 1;

bool SameFile(const std::string& a, const std::string& b) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (fs::equivalent(a, b, ec)) return true;
  const fs::path ca = fs::weakly_canonical(a, ec);
  if (ec) return false;
  const fs::path cb = fs::weakly_canonical(b, ec);
  return !ec && ca == cb;
}

int Fail(const std::string& text, const ReadDiagnostic* diagnostic) {
  std::cerr << text << '\n';
  if (diagnostic != nullptr)
    for (const std::string& line : DiagnosticLines(*diagnostic)) std::cerr << line << '\n';
  return kExitFailure;
}

Json FailureJson(const char* command, const Json& input, const Json& output,
                 const std::string& text, const ReadDiagnostic* diagnostic) {
  Json j = JsonHead(command);
  j["input"] = input;
  j["output"] = output;
  j["result"] = text;
  j["diagnostic"] = DiagnosticJson(diagnostic);
  return j;
}

int Fail(const std::string& text, bool json, const char* command, const Json& input,
         const Json& output, const ReadDiagnostic* diagnostic) {
  if (json) PrintJson(FailureJson(command, input, output, text, diagnostic));
  return Fail(text, diagnostic);
}

std::string Format(const char* format, double value) {
  if (value == 0.0) value = 0.0;  // a negated zero reads as 0, not -0
  char buffer[64];
  const int n = std::snprintf(buffer, sizeof buffer, format, value);
  if (n < 0) return {};
  if (static_cast<std::size_t>(n) < sizeof buffer)
    return std::string(buffer, static_cast<std::size_t>(n));
  std::string text(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(text.data(), text.size(), format, value);
  text.resize(static_cast<std::size_t>(n));
  return text;
}

std::string FormatTriple(const char* format, const Triple& values) {
  return Format(format, values[0]) + ", " + Format(format, values[1]) + ", " +
         Format(format, values[2]);
}

std::string Full(double value) { return Format("%.15g", value); }

void PrintJson(const Json& value) { std::cout << value.dump(2) << '\n'; }

std::string ToolVersion() {
  return "tavric " + std::to_string(version::kMajor) + "." + std::to_string(version::kMinor) + "." +
         std::to_string(version::kRevision);
}

void Append(Json& to, const Json& from) {
  for (auto it = from.begin(); it != from.end(); ++it) to[it.key()] = it.value();
}

Json JsonHead(const char* command) {
  return {{"schema", kJsonSchema}, {"tool", ToolVersion()}, {"command", command}};
}

void PrintField(const std::string& caption, const std::string& text) {
  constexpr std::size_t kWidth = 14;
  std::string line = caption;
  if (line.size() < kWidth) line.append(kWidth - line.size(), ' ');
  std::cout << line << ": " << text << '\n';
}

const CLI::Validator& ExistingFileOrStdin() {
  static const CLI::Validator validator(
      [](std::string& name) -> std::string {
        if (name == "-") return {};
        return CLI::ExistingFile(name);
      },
      "FILE or -");
  return validator;
}

}  // namespace tavric::cli
