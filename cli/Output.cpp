#include <cstdio>
#include <functional>
#include <iostream>

#include "Commands.h"
#include "OutputFiles.h"
#include "tavric/Version.h"

namespace tavric::cli {

// The version of the layout of the JSON objects; it changes only when a key
// is removed or changes its meaning.
constexpr int kJsonSchema = 1;

int Fail(const std::string& text, const ReadDiagnostic* diagnostic) {
  std::cerr << text << '\n';
  if (diagnostic != nullptr)
    for (const std::string& line : DiagnosticLines(*diagnostic)) std::cerr << line << '\n';
  return kExitFailure;
}

Json FailureJson(const char* command, const Json& input, const Json& output, const Json& settings,
                 const std::string& text, const ReadDiagnostic* diagnostic) {
  Json j = JsonHead(command, input, output, settings);
  j["result"] = text;
  j["diagnostic"] = DiagnosticJson(diagnostic);
  return j;
}

int Fail(const std::string& text, bool json, const char* command, const Json& input,
         const Json& output, const Json& settings, const ReadDiagnostic* diagnostic) {
  if (json) PrintJson(FailureJson(command, input, output, settings, text, diagnostic));
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

void PrintJson(const Json& value) {
  // File names are bytes: any that are not UTF-8 are written as U+FFFD
  // rather than stopping the output.
  StandardOutput() << value.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void PrintJsonLine(const Json& value) {
  StandardOutput() << value.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

std::string ToolVersion() {
  return "tavric " + std::to_string(version::kMajor) + "." + std::to_string(version::kMinor) + "." +
         std::to_string(version::kRevision);
}

void Append(Json& to, const Json& from) {
  for (auto it = from.begin(); it != from.end(); ++it) to[it.key()] = it.value();
}

Json JsonHead(const char* command, const Json& input, const Json& output, const Json& settings) {
  return {{"schema", kJsonSchema}, {"tool", ToolVersion()}, {"command", command},
          {"input", input},        {"output", output},      {"settings", settings}};
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

namespace {

// A validator of numbers: `accepted` tells whether a value may be used,
// `range` describes the values that may ("from 0 to 254").
CLI::Validator NumberCheck(std::function<bool(double)> accepted, const std::string& range) {
  return CLI::Validator(
      [accepted, range](std::string& text) -> std::string {
        double value = 0.0;
        if (!CLI::detail::lexical_cast(text, value)) return text + " is not a number";
        if (!accepted(value)) return text + " is out of range: it must be " + range;
        return {};
      },
      "", "NUMBER");
}

std::string Plain(double value) { return Format("%.15g", value); }

}  // namespace

CLI::Validator Within(double low, double high, const std::string& reason) {
  return NumberCheck(
      [low, high](double v) { return v >= low && v <= high; },
      "from " + Plain(low) + " to " + Plain(high) + (reason.empty() ? "" : " (" + reason + ")"));
}

CLI::Validator AtLeast(double low) {
  return NumberCheck([low](double v) { return v >= low; }, Plain(low) + " or more");
}

CLI::Validator MoreThan(double low) {
  return NumberCheck([low](double v) { return v > low; }, "more than " + Plain(low));
}

}  // namespace tavric::cli
