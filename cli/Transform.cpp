// tavric transform: converts probe readings with a saved calibration into
// the probe's physical deflection (the polynomial without its constant term
// at the readings minus the probe offsets).
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include "Commands.h"
#include "LoadCalibration.h"
#include "OutputFiles.h"
#include "Readings.h"
#include "tavric/DataFile.h"

namespace tavric::cli {
namespace {

struct TransformOptions {
  std::string calibration;
  std::vector<double> readings;
  std::string input;
  std::string data;
  bool json = false;
};

// The "input" of the JSON objects: the data file or the file of readings
// (none for a reading on the command line).
Json Input(const TransformOptions& o) {
  if (!o.data.empty()) return o.data;
  return o.input.empty() ? Json(nullptr) : Json(o.input);
}

int Failure(const TransformOptions& o, const std::string& text,
            const ReadDiagnostic* diagnostic = nullptr) {
  return Fail(text, o.json, "transform", Input(o), nullptr, nullptr, diagnostic);
}

void PrintLine(const Triple& v) {
  std::cout << Full(v[0]) << ',' << Full(v[1]) << ',' << Full(v[2]) << '\n';
}

int TransformReadings(const TransformOptions& o, const Calibration& cal) {
  std::vector<Triple> readings;
  if (!o.readings.empty()) {
    readings.push_back({o.readings[0], o.readings[1], o.readings[2]});
  } else if (o.input == "-") {
    const std::string error = ReadReadings(std::cin, "<stdin>", readings);
    if (!error.empty()) return Failure(o, error);
  } else {
    std::ifstream in(o.input, std::ios::binary);
    if (!in) return Failure(o, o.input + ": cannot be opened");
    const std::string error = ReadReadings(in, o.input, readings);
    if (!error.empty()) return Failure(o, error);
  }

  Json points = Json::array();
  for (const Triple& reading : readings) {
    const Triple d = cal.deflection(reading);
    if (o.json) {
      points.push_back({{"reading", reading}, {"deflection", d}});
    } else {
      PrintLine(d);
    }
  }
  if (o.json) {
    Json j = JsonHead("transform", Input(o), nullptr, nullptr);
    j["result"] = "OK";
    j["calibration"] = o.calibration;
    j["points"] = points;
    PrintJson(j);
  }
  return kExitOk;
}

// Every sample of a data file: its tip centre, machine position + deflection.
int TransformData(const TransformOptions& o, const Calibration& cal) {
  DataArray data;
  std::string layout;
  ReadDiagnostic diagnostic;
  const std::string read = ReadCalibrationDataFile(InputPath(o.data), data, &layout, &diagnostic);
  if (read != "OK") return Failure(o, read, &diagnostic);

  const std::int32_t first = data.LBound(2);
  const std::int32_t last = data.UBound(2);
  Json points = Json::array();
  for (std::int32_t k = first; k <= last; ++k) {
    const Triple reading{data(1, k), data(2, k), data(3, k)};
    const Triple position{data(4, k), data(5, k), data(6, k)};
    const Triple d = cal.deflection(reading);
    const Triple tip{position[0] + d[0], position[1] + d[1], position[2] + d[2]};
    if (o.json) {
      points.push_back(
          {{"reading", reading}, {"position", position}, {"deflection", d}, {"tip", tip}});
    } else {
      PrintLine(tip);
    }
  }
  if (o.json) {
    Json j = JsonHead("transform", Input(o), nullptr, nullptr);
    j["result"] = "OK";
    j["calibration"] = o.calibration;
    j["data"] = o.data;
    j["layout"] = layout;
    j["samples"] = last - first + 1;
    j["points"] = points;
    PrintJson(j);
  }
  return kExitOk;
}

int RunTransform(const TransformOptions& o) {
  const std::optional<Calibration> cal =
      LoadOrExplain(o.calibration, o.json, "transform", Input(o), nullptr);
  if (!cal) return kExitFailure;
  if (!o.data.empty()) return TransformData(o, *cal);
  return TransformReadings(o, *cal);
}

}  // namespace

Command AddTransform(CLI::App& app) {
  auto o = std::make_shared<TransformOptions>();
  CLI::App* sub = app.add_subcommand(
      "transform", "Convert probe readings P, Q, R (counts) to deflections X, Y, Z (mm)");
  sub->add_option("CALFILE", o->calibration, "Calibration file (from tavric calibrate)")
      ->required()
      ->check(CLI::ExistingFile);
  CLI::Option* readings =
      sub->add_option("READING", o->readings, "One reading: the three numbers P Q R")->expected(3);
  CLI::Option* input =
      sub->add_option("-i,--input", o->input,
                      "File of readings, or - for standard input: one P,Q,R a line, the numbers "
                      "separated by commas, spaces or tabs, an optional header line first; "
                      "prints X,Y,Z lines")
          ->type_name("FILE")
          ->check(ExistingFileOrStdin());
  CLI::Option* data =
      sub->add_option("--data", o->data,
                      "Data file (marked or generic layout), or - for standard input; prints "
                      "each sample's machine position plus its deflection as X,Y,Z lines")
          ->type_name("DATA")
          ->check(ExistingFileOrStdin());
  readings->excludes(input, data);
  input->excludes(data);
  sub->add_flag("--json", o->json, "Print the results as one JSON object");
  AddDecimalCommaOption(*sub);
  sub->callback([readings, input, data] {
    if (readings->count() + input->count() + data->count() == 0) {
      throw CLI::RequiredError("READING (P Q R), --input or --data");
    }
  });
  return {sub, [o] { return RunTransform(*o); }};
}

}  // namespace tavric::cli
