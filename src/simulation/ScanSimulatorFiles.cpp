// The scan simulator's file output: the two logged-data layouts that the
// calibration data readers accept, and the ground truth as JSON.
#include <charconv>
#include <cmath>
#include <string>

#include "runtime/CheckedMath.h"
#include "runtime/ErrorTrap.h"
#include "runtime/NumberText.h"
#include "runtime/TextFile.h"
#include "tavric/RuntimeError.h"
#include "tavric/ScanSimulator.h"

namespace tavric::sim {
namespace {

constexpr const char* kLineEnd = "\r\n";

// Checks that the array holds the six fields P, Q, R, X, Y, Z at offsets 0..5
// from its first lower bound, all finite (raises 9 or 6 otherwise).
void RequireSixFinite(const DataArray& data) {
  const std::int32_t l1 = data.LBound(1);
  const std::int32_t l2 = data.LBound(2), u2 = data.UBound(2);
  data.CheckRange(l1, l1 + 5, l2, u2);
  for (std::int32_t j = l2; j <= u2; ++j)
    for (std::int32_t r = 0; r < 6; ++r) fp::RequireFinite(data.Unchecked(l1 + r, j));
}

// A double in its shortest round-trip form (valid JSON); raises 6 when not finite.
std::string JsonNumber(double x) {
  fp::RequireFinite(x);
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, x);
  return std::string(buffer, result.ptr);
}

std::string JsonVec(const Vec3& v) {
  return "[" + JsonNumber(v[0]) + ", " + JsonNumber(v[1]) + ", " + JsonNumber(v[2]) + "]";
}

}  // namespace

std::string WriteMarkedDataFile(const std::string& path, const DataArray& data) {
  fp::Boundary boundary;
  try {
    RequireSixFinite(data);
    const std::int32_t l1 = data.LBound(1);
    TextFile file(path, TextFile::Mode::kOutput);
    file.WriteRecord({std::string("DATA START")});
    file.WriteRecord({std::string("P"), std::string("Q"), std::string("R"), std::string("X"),
                      std::string("Y"), std::string("Z")});
    for (std::int32_t j = data.LBound(2); j <= data.UBound(2); ++j)
      file.WriteRecord({data(l1, j), data(l1 + 1, j), data(l1 + 2, j), data(l1 + 3, j),
                        data(l1 + 4, j), data(l1 + 5, j)});
    file.WriteRecord({std::string("DATA END")});
    file.Close();
    return "OK";
  } catch (...) {
    return TrapText("WriteMarkedDataFile error ", CurrentErrorInfo(), " : ");
  }
}

std::string WriteGenericDataFile(const std::string& path, const DataArray& data) {
  fp::Boundary boundary;
  try {
    RequireSixFinite(data);
    const std::int32_t l1 = data.LBound(1);
    const std::int32_t l2 = data.LBound(2), u2 = data.UBound(2);
    std::string text;
    text += "Probe calibration scan log";
    text += kLineEnd;
    text += "Source: tavric scan simulator";
    text += kLineEnd;
    text += "Samples: " + std::to_string(u2 - l2 + 1);
    text += kLineEnd;
    text += "LOGGED PARAMETERS";
    text += kLineEnd;
    // The columns are found by name, so they need not come in the order
    // P, Q, R, X, Y, Z; a time stamp and a status flag ride along.
    text += "Time TQ800Axis2.0 X.51 TQ800Axis0.0 Y.51 Status TQ800Axis1.0 Z.51";
    text += kLineEnd;
    constexpr double kSamplePeriod = 0.004;  // s
    for (std::int32_t j = l2; j <= u2; ++j) {
      const double time = static_cast<double>(j - l2) * kSamplePeriod;
      text += FormatRecordNumber(time) + ' ' + FormatRecordNumber(data(l1 + 2, j)) + ' ' +
              FormatRecordNumber(data(l1 + 3, j)) + ' ' + FormatRecordNumber(data(l1, j)) + ' ' +
              FormatRecordNumber(data(l1 + 4, j)) + " 1 " + FormatRecordNumber(data(l1 + 1, j)) +
              ' ' + FormatRecordNumber(data(l1 + 5, j));
      text += kLineEnd;
    }
    // The reader leaves its data loop on a non-numeric line at the end of
    // the file, so the log must end with one.
    text += "END OF LOG";
    text += kLineEnd;
    WriteWholeTextFile(path, text);
    return "OK";
  } catch (...) {
    return TrapText("WriteGenericDataFile error ", CurrentErrorInfo(), " : ");
  }
}

std::string TruthJson(const GroundTruth& truth) {
  const Array2<double>& c = truth.coefficients;
  std::string s = "{\n";
  s += "  \"generator\": \"tavric scan simulator\",\n";
  s += "  \"samples\": " +
       std::to_string(truth.deflections.Allocated() ? truth.deflections.Extent2() : 0) + ",\n";
  s += "  \"seed\": " + std::to_string(truth.seed) + ",\n";
  s += "  \"sphere\": {\"centre\": " + JsonVec(truth.centre) +
       ", \"radius\": " + JsonNumber(truth.radius) + "},\n";
  s += "  \"order\": " + std::to_string(truth.order) + ",\n";
  s += "  \"offsets\": " + JsonVec(truth.offsets) + ",\n";
  s += "  \"linear\": [" + JsonVec(truth.linear[0]) + ", " + JsonVec(truth.linear[1]) + ", " +
       JsonVec(truth.linear[2]) + "],\n";
  s += "  \"terms\": [";
  // The powers follow the coefficient table's term order.
  std::int32_t t = c.Allocated() ? c.LBound(2) : 1;
  bool first = true;
  for (int i = 0; i <= truth.order; ++i)
    for (int j = 0; j <= truth.order - i; ++j)
      for (int k = 0; k <= truth.order - i - j; ++k, ++t) {
        const Vec3 coeff = {c(1, t), c(2, t), c(3, t)};
        s += first ? "\n" : ",\n";
        first = false;
        s += "    {\"powers\": [" + std::to_string(i) + ", " + std::to_string(j) + ", " +
             std::to_string(k) + "], \"coefficients\": " + JsonVec(coeff) + "}";
      }
  s += "\n  ],\n";
  s += "  \"scans\": [";
  first = true;
  for (const ScanInfo& scan : truth.scans) {
    s += first ? "\n" : ",\n";
    first = false;
    s += "    {\"first\": " + std::to_string(scan.first_sample) +
         ", \"count\": " + std::to_string(scan.sample_count) +
         ", \"plane\": " + std::to_string(scan.plane) +
         ", \"sense\": " + std::to_string(scan.sense) +
         ", \"normal\": " + JsonVec(scan.plane_normal) + "}";
  }
  s += "\n  ]\n}\n";
  return s;
}

std::string WriteTruthJson(const std::string& path, const GroundTruth& truth) {
  fp::Boundary boundary;
  try {
    WriteWholeTextFile(path, TruthJson(truth));
    return "OK";
  } catch (...) {
    return TrapText("WriteTruthJson error ", CurrentErrorInfo(), " : ");
  }
}

void RoundToRecordPrecision(DataArray& data) {
  if (!data.Allocated()) return;
  for (std::int32_t j = data.LBound(2); j <= data.UBound(2); ++j)
    for (std::int32_t i = data.LBound(1); i <= data.UBound(1); ++i) {
      double& x = data.Unchecked(i, j);
      x = *TryParseInvariant(FormatRecordNumber(fp::RequireFinite(x)));
    }
}

}  // namespace tavric::sim
