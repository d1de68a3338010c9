// The subcommands of the tavric command-line tool and the helpers they share.
//
// Each Add... function registers one subcommand on the application and
// returns it with the function that runs it once the command line has been
// parsed. A run returns the process's exit status:
//   0  the library said "OK" (and, with --strict, raised no warning);
//   1  the library returned a failure text (written unchanged on standard
//      error), or the data would be refused (check);
//   2  a usage error, found by the parser before any run starts;
//   3  --strict was given and the calibration raised a warning.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace tavric {
struct ReadDiagnostic;
}

namespace tavric::cli {

inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;
inline constexpr int kExitWarnings = 3;

using Triple = std::array<double, 3>;
// JSON objects keep their keys in the order they were written.
using Json = nlohmann::ordered_json;

struct Command {
  CLI::App* subcommand = nullptr;
  std::function<int()> run;
};

Command AddCalibrate(CLI::App& app);
Command AddTransform(CLI::App& app);
Command AddShow(CLI::App& app);
Command AddCheck(CLI::App& app);
Command AddVerify(CLI::App& app);
Command AddSimulate(CLI::App& app);
Command AddReport(CLI::App& app);

// The tool's name and version, e.g. "tavric 1.0.0".
std::string ToolVersion();

// Writes a failure text of the library on standard error, unchanged and
// alone on its line, followed by the lines of DiagnosticLines when the
// failure came with a diagnostic, and returns kExitFailure.
int Fail(const std::string& text, const ReadDiagnostic* diagnostic = nullptr);

// The JSON object of a failed run of `command` (show, transform, verify,
// simulate): its head (JsonHead), the failure text as "result", and the
// diagnostic (DiagnosticJson) as "diagnostic".
Json FailureJson(const char* command, const Json& input, const Json& output, const Json& settings,
                 const std::string& text, const ReadDiagnostic* diagnostic = nullptr);
// Fail(text, diagnostic), after printing FailureJson(...) when the run was
// asked for JSON.
int Fail(const std::string& text, bool json, const char* command, const Json& input,
         const Json& output, const Json& settings, const ReadDiagnostic* diagnostic = nullptr);

// Adds --decimal-comma to a subcommand that reads data files. The tool never
// changes the process locale, so data numbers are read with a period unless
// the flag is given; the flag makes a comma the decimal separator of the
// library's locale-aware conversions (data files, and the progress display).
void AddDecimalCommaOption(CLI::App& command);

// The lines that explain a failure to read a file, printed under the
// library's text: "file: NAME, line L, column C: found "TEXT"" (or the
// layout and samples read when reading succeeded and a later step failed),
// "tried: LAYOUT: TEXT; ..." and "hint: ...".
std::vector<std::string> DiagnosticLines(const ReadDiagnostic& diagnostic);

// The "diagnostic" member of a JSON failure object: null without one.
Json DiagnosticJson(const ReadDiagnostic* diagnostic);

// printf-style formatting of one number (e.g. Format("%.4f", x)).
std::string Format(const char* format, double value);
// Three numbers joined by ", ", each formatted with `format`.
std::string FormatTriple(const char* format, const Triple& values);
// A number in full precision, as "%.15g" writes it.
std::string Full(double value);

// Writes a JSON object on standard output, indented, with a final line end
// (even under --quiet). Text that is not UTF-8 (a file name) is written with
// U+FFFD in place of its invalid bytes.
void PrintJson(const Json& value);
// The same on one line.
void PrintJsonLine(const Json& value);

// The head of every JSON object the tool prints: the version of its layout
// ("schema"), the tool's version, the subcommand, the file it read
// ("input"), the file it wrote ("output") and the settings in effect (null
// where there is none). docs/cli-output.schema.json describes the objects.
Json JsonHead(const char* command, const Json& input, const Json& output, const Json& settings);

// Appends the members of the object `from` to the object `to`, in order.
void Append(Json& to, const Json& from);

// Writes "caption : text" with the captions of one block aligned.
void PrintField(const std::string& caption, const std::string& text);

// An existing file, or "-" for standard input.
const CLI::Validator& ExistingFileOrStdin();

// Number checks whose messages give the accepted range in plain numbers
// ("-1 is out of range: it must be 0 or more"), and the reason for a limit
// when there is one.
CLI::Validator Within(double low, double high, const std::string& reason = {});
CLI::Validator AtLeast(double low);
CLI::Validator MoreThan(double low);

// millimetres to micrometres, for the fit statistics and deviations.
inline double Micrometres(double mm) { return mm * 1000.0; }

}  // namespace tavric::cli
