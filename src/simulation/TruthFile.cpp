// Reading the simulator's truth file back (the writer is in
// ScanSimulatorFiles.cpp).
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "tavric/Error.h"
#include "tavric/ScanSimulator.h"

namespace tavric::sim {
namespace {

using nlohmann::json;

Vec3 ReadVec3(const json& j) {
  if (!j.is_array() || j.size() != 3) throw std::runtime_error("three numbers expected");
  return {j.at(0).get<double>(), j.at(1).get<double>(), j.at(2).get<double>()};
}

GroundTruth Parse(const json& j) {
  GroundTruth truth;
  truth.seed = j.value("seed", std::uint64_t{0});
  truth.centre = ReadVec3(j.at("sphere").at("centre"));
  truth.radius = j.at("sphere").at("radius").get<double>();
  truth.order = j.at("order").get<int>();
  if (truth.order < 1 || truth.order > 3) throw std::runtime_error("order must be 1, 2 or 3");
  truth.offsets = ReadVec3(j.at("offsets"));
  const json& linear = j.at("linear");
  for (std::size_t r = 0; r < 3; ++r) truth.linear[r] = ReadVec3(linear.at(r));
  const json& terms = j.at("terms");
  const auto n =
      static_cast<std::int32_t>((truth.order + 1) * (truth.order + 2) * (truth.order + 3) / 6);
  if (!terms.is_array() || terms.size() != static_cast<std::size_t>(n))
    throw std::runtime_error("\"terms\" must hold " + std::to_string(n) + " terms for order " +
                             std::to_string(truth.order));
  truth.coefficients.ReDim(1, 3, 1, n);
  // The terms follow the coefficient table's order: the power of P outermost,
  // the power of R innermost.
  std::int32_t t = 1;
  for (int i = 0; i <= truth.order; ++i)
    for (int k = 0; k <= truth.order - i; ++k)
      for (int l = 0; l <= truth.order - i - k; ++l, ++t) {
        const json& term = terms.at(static_cast<std::size_t>(t - 1));
        const Vec3 powers = ReadVec3(term.at("powers"));
        if (powers != Vec3{double(i), double(k), double(l)})
          throw std::runtime_error("term " + std::to_string(t) + " has the wrong powers");
        const Vec3 c = ReadVec3(term.at("coefficients"));
        for (std::int32_t a = 0; a < 3; ++a)
          truth.coefficients(a + 1, t) = c[static_cast<std::size_t>(a)];
      }
  if (j.contains("scans")) {
    for (const json& scan : j.at("scans")) {
      ScanInfo info;
      info.first_sample = scan.at("first").get<std::int32_t>();
      info.sample_count = scan.at("count").get<std::int32_t>();
      info.plane = scan.at("plane").get<std::int32_t>();
      info.sense = scan.at("sense").get<int>();
      info.plane_normal = ReadVec3(scan.at("normal"));
      truth.scans.push_back(info);
    }
  }
  return truth;
}

}  // namespace

GroundTruth ReadTruthJson(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Error(ErrorCode::kLoadFailed, path + ": cannot be opened");
  std::stringstream text;
  text << in.rdbuf();
  try {
    return Parse(json::parse(text.str()));
  } catch (const std::exception& e) {
    throw Error(ErrorCode::kLoadFailed,
                path + ": not a truth file of the scan simulator (" + e.what() + ")");
  }
}

}  // namespace tavric::sim
