// Calibration results do not change in any bit.
//
// A sweep of calibrations (the bundled examples and simulated scans of orders
// 1 to 3, 20 to 32,767 samples, probe offsets, head orientations, other
// spheres and planes, non-default settings, the radius held, failures) is
// run, and two digests of each are compared with digests recorded from the
// straightforward loops the engine started from:
//   - the calibration: the result text, the calibration file written after
//     the run, byte for byte, and the full-precision state behind it (fit
//     statistics, sphere, every coefficient, the optimiser's history, the
//     residuals and the last step);
//   - the uncertainty analysis: every figure of RunReport::uncertainty.
// Every case runs with each instruction set of the vector kernels (SSE2 and
// AVX2 on x86), and both must give the recorded bits, in every build
// (optimised or not, with or without the sanitizers).
// A mismatch means that some arithmetic changed its rounding. Run the test
// binary with TAVRIC_PRINT_RESULT_DIGESTS=1 to print the digests of this
// build; record them only when a change is meant to change results.
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "TestSupport.h"
#include "interface/ProjectState.h"
#include "runtime/Simd.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/RunReport.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

// FNV-1a, 64 bits.
class Digest {
 public:
  void Bytes(const void* data, std::size_t size) {
    const auto* p = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
      value_ ^= p[i];
      value_ *= 0x100000001b3ULL;
    }
  }
  void Text(const std::string& s) {
    Int(static_cast<std::int64_t>(s.size()));
    Bytes(s.data(), s.size());
  }
  void Int(std::int64_t v) { Bytes(&v, sizeof v); }
  void Real(double v) { Int(static_cast<std::int64_t>(std::bit_cast<std::uint64_t>(v))); }
  void Reals(const std::vector<double>& v) {
    Int(static_cast<std::int64_t>(v.size()));
    for (double x : v) Real(x);
  }
  std::uint64_t Value() const { return value_; }

 private:
  std::uint64_t value_ = 0xcbf29ce484222325ULL;
};

void AddSpread(Digest& d, const Spread& s) {
  d.Real(s.max);
  d.Real(s.p95);
  d.Real(s.median);
}

void AddDeflection(Digest& d, const DeflectionUncertainty& u) {
  d.Int(u.points);
  for (const Spread* s : {&u.normal, &u.across, &u.x, &u.y, &u.z}) AddSpread(d, *s);
}

std::uint64_t UncertaintyDigest(const FitUncertainty& u) {
  Digest d;
  d.Int(u.available);
  d.Text(u.note);
  d.Int(u.residuals);
  d.Int(u.parameters);
  d.Real(u.sigma);
  d.Int(u.rank);
  d.Real(u.condition_number);
  for (const std::string& name : u.parameter_names) d.Text(name);
  d.Reals(u.covariance);
  for (double c : u.centre_u) d.Real(c);
  d.Real(u.radius_u);
  AddDeflection(d, u.at_samples);
  AddDeflection(d, u.over_range);
  d.Reals(u.sample_normal_u);
  d.Reals(u.sample_across_u);
  for (const auto& n : u.sample_normals)
    for (double c : n) d.Real(c);
  for (const WeakDirection& w : u.weakest) {
    d.Real(w.relative_eigenvalue);
    d.Text(w.kind);
    d.Text(w.description);
    for (const std::string& p : w.parameters) d.Text(p);
    d.Reals(w.shares);
    d.Real(w.normal_rms);
    d.Real(w.across_rms);
    d.Real(w.max);
    d.Real(w.radius_change);
  }
  d.Real(u.deflection_mean);
  d.Real(u.deflection_variation);
  d.Real(u.residual_autocorrelation);
  d.Real(u.robust_sigma);
  d.Real(u.outlier_fraction);
  d.Real(u.last_step_normal_change);
  d.Real(u.last_step_across_change);
  d.Int(u.radius_held);
  AddDeflection(d, u.at_samples_radius_fitted);
  d.Real(u.radius_u_fitted);
  return d.Value();
}

// The result text, the calibration file and the full-precision state of the
// calibration that `cal` holds after a run.
std::uint64_t CalibrationDigest(ClsProbeCalibration& cal, const std::string& result,
                                const std::string& file) {
  Digest d;
  d.Text(result);
  EXPECT_EQ(cal.SaveCalibrationFunctions(file), "OK");
  d.Text(testing::ReadFileBytes(file));
  d.Real(cal.FitRMS());
  d.Real(cal.FitMin());
  d.Real(cal.FitMax());
  for (std::uint8_t i = 1; i <= 3; ++i) d.Real(cal.SphereCentre(i));
  d.Real(cal.SphereRadius());
  const int order = cal.PolynomialOrder();
  for (std::int16_t p = 0; p <= order; ++p)
    for (std::int16_t q = 0; q <= order - p; ++q)
      for (std::int16_t r = 0; r <= order - p - q; ++r) {
        double x = 0.0, y = 0.0, z = 0.0;
        cal.GetPolyParameters(p, q, r, x, y, z);
        d.Real(x);
        d.Real(y);
        d.Real(z);
      }
  const RunReport& report = LastRunReport();
  d.Int(report.outer_iterations);
  d.Int(report.rejected_trials);
  d.Int(static_cast<int>(report.stop_reason));
  d.Real(report.final_mu);
  d.Real(report.initial_S);
  for (const IterationRecord& it : report.iterations) {
    d.Int(it.iteration);
    for (double v : {it.S, it.FitRMS, it.FitMin, it.FitMax, it.Mu}) d.Real(v);
    d.Int(it.rejected_trials);
  }
  d.Reals(report.residuals);
  d.Reals(report.last_step);
  return d.Value();
}

struct Case {
  std::string name;
  std::uint8_t order = 3;
  // The scan: a simulated one, or a bundled example read from its file.
  sim::Scenario scenario;
  std::string example;
  // Settings of the calibration before the run.
  std::function<void(ClsProbeCalibration&)> settings;
  // Hold the radius at the simulated one.
  bool hold_radius = false;
  // Rebase the data array to bounds (0 To 5, 3 To N + 2).
  bool rebased = false;
  // Changes the simulated data before the run.
  std::function<void(DataArray&)> corrupt;
};

// gtest prints a case by its name.
void PrintTo(const Case& c, std::ostream* os) { *os << c.name; }

sim::Scenario Noisy(int true_order, int samples, std::uint64_t seed) {
  sim::Scenario s;
  s.calibration.order = true_order;
  s.plan.total_samples = samples;
  s.noise.counts_sigma = 1.5;
  s.noise.position_sigma_um = 0.2;
  s.noise.seed = seed;
  return s;
}

Case Simulated(std::string name, std::uint8_t order, sim::Scenario scenario) {
  Case c;
  c.name = std::move(name);
  c.order = order;
  c.scenario = scenario;
  return c;
}

std::vector<Case> Cases() {
  std::vector<Case> cases;
  const auto add = [&](Case c) { cases.push_back(std::move(c)); };

  for (const char* layout : {"marked", "generic"})
    for (std::uint8_t order = 1; order <= 3; ++order) {
      Case c;
      c.name = std::string("Example") + (layout[0] == 'm' ? "Marked" : "Generic") + "Order" +
               std::to_string(order);
      c.order = order;
      c.example = std::string(TAVRIC_EXAMPLES_DIR) + "/sphere-scan-" + layout + ".txt";
      add(c);
    }

  // Orders 1 to 3 from the smallest scan (two samples per scan, too few for
  // the scan check) up.
  for (int samples : {20, 40, 157, 2000})
    for (std::uint8_t order = 1; order <= 3; ++order)
      add(Simulated("Order" + std::to_string(order) + "Samples" + std::to_string(samples), order,
                    Noisy(order, samples, 11u + order)));
  add(Simulated("Order3Samples32767", 3, Noisy(3, 32767, 5)));
  add(Simulated("Order1Samples32767", 1, Noisy(1, 32767, 6)));
  add(Simulated("Order2Samples8000", 2, Noisy(2, 8000, 7)));
  add(Simulated("Order3FitOfOrder1Truth", 3, Noisy(1, 3000, 8)));
  add(Simulated("Order1FitOfOrder3Truth", 1, Noisy(3, 3000, 9)));
  {
    sim::Scenario s;
    s.plan.total_samples = 1000;
    add(Simulated("Order3NoiseFree", 3, s));
  }
  {
    Case c = Simulated("Order3ProbeOffsets", 3, Noisy(3, 4000, 10));
    c.scenario.calibration.offsets = {120.0, -75.0, 33.0};
    c.settings = [](ClsProbeCalibration& cal) { cal.LetProbeOffsets(120.0, -75.0, 33.0); };
    add(c);
  }
  {
    Case c = Simulated("Order2HeadOrientation", 2, Noisy(2, 3000, 11));
    c.settings = [](ClsProbeCalibration& cal) {
      cal.InitialHX7a(3.0);
      cal.LetHX7aDir(0.0, 0.0, 1.0);
      cal.InitialHX7b(-2.0);
      cal.LetHX7bDir(1.0, 0.0, 0.0);
    };
    add(c);
  }
  {
    Case c = Simulated("Order3HeadTurnedHalfRound", 3, Noisy(3, 3000, 12));
    c.settings = [](ClsProbeCalibration& cal) {
      cal.InitialHX7a(180.0);
      cal.LetHX7aDir(0.0, 0.0, 1.0);
      cal.InitialHX7b(90.0);
      cal.LetHX7bDir(0.0, 1.0, 0.0);
    };
    add(c);
  }
  {
    Case c = Simulated("Order3SmallSphereSixPlanes", 3, Noisy(3, 5000, 13));
    c.scenario.plan.centre = {-600.0, 350.0, -120.0};
    c.scenario.plan.radius = 4.0;
    c.scenario.plan.planes = 6;
    c.scenario.deflection.mean_mm = 0.2;
    add(c);
  }
  {
    Case c = Simulated("Order2NoEquatorSlantedArcs", 2, Noisy(2, 2500, 14));
    c.scenario.plan.include_equator = false;
    c.scenario.plan.arc_centre_elevation_deg = 70.0;
    c.scenario.plan.arc_deg = 140.0;
    add(c);
  }
  {
    Case c = Simulated("Order3MoreIterationsTighterTests", 3, Noisy(3, 3000, 15));
    c.settings = [](ClsProbeCalibration& cal) {
      cal.IterationMaxNumber(40);
      cal.ConvergenceGradientNormValue(1e-7);
      cal.ConvergenceSphereValue(1e-7);
    };
    add(c);
  }
  for (int method = 0; method <= 2; ++method) {
    Case c = Simulated("Order2ConvergenceMethod" + std::to_string(method), 2,
                       Noisy(2, 2000, 16u + static_cast<unsigned>(method)));
    c.settings = [method](ClsProbeCalibration& cal) { cal.ConvergenceDetectionMethod(method); };
    add(c);
  }
  {
    Case c = Simulated("Order3DampingSettings", 3, Noisy(3, 2000, 19));
    c.settings = [](ClsProbeCalibration& cal) {
      cal.Mu(3.0);
      cal.nu(2.5);
      cal.InitialProbeGain(7.1e-5);
    };
    add(c);
  }
  {
    Case c = Simulated("Order1DampingOverflows", 1, Noisy(1, 500, 20));
    c.settings = [](ClsProbeCalibration& cal) {
      cal.Mu(1e300);
      cal.nu(1e300);
    };
    add(c);
  }
  {
    Case c = Simulated("Order1DampingQuotientOverflows", 1, Noisy(1, 500, 24));
    c.settings = [](ClsProbeCalibration& cal) {
      cal.Mu(1e308);
      cal.nu(0.5);
    };
    add(c);
  }
  {
    // A reading whose cube overflows: the first residuals fail.
    Case c = Simulated("Order3HugeReadingOverflows", 3, Noisy(3, 600, 25));
    c.corrupt = [](DataArray& data) { data(3, 317) = 1e150; };
    add(c);
  }
  {
    Case c = Simulated("Order3RadiusHeld", 3, Noisy(3, 4000, 21));
    c.hold_radius = true;
    add(c);
  }
  {
    Case c = Simulated("Order1RadiusHeld", 1, Noisy(1, 1000, 22));
    c.hold_radius = true;
    add(c);
  }
  {
    Case c = Simulated("Order3RebasedBounds", 3, Noisy(3, 1500, 23));
    c.rebased = true;
    add(c);
  }
  return cases;
}

DataArray Rebased(const DataArray& data) {
  const std::int32_t n = data.UBound(2);
  DataArray out(0, 5, 3, n + 2);
  for (std::int32_t k = 1; k <= n; ++k)
    for (std::int32_t f = 0; f < 6; ++f) out(f, k + 2) = data(f + 1, k);
  return out;
}

struct Outcome {
  std::string result;
  std::uint64_t calibration = 0;
  std::uint64_t uncertainty = 0;
};

// Runs one case on a thread of its own, so that it starts from a fresh
// engine state whatever ran before it.
Outcome RunCase(const Case& c) {
  Outcome out;
  std::thread worker([&] {
    testing::TempDir dir;
    ClsProbeCalibration cal;
    if (c.settings) c.settings(cal);
    std::uint8_t order = c.order;
    if (!c.example.empty()) {
      out.result = cal.OptimiseFromFile(c.example, order);
    } else {
      sim::SimulatedData s = sim::Simulate(c.scenario);
      if (c.corrupt) c.corrupt(s.data);
      if (c.hold_radius) State().held_radius = s.truth.radius;
      out.result = cal.Optimise(c.rebased ? Rebased(s.data) : s.data, order);
    }
    out.calibration = CalibrationDigest(cal, out.result, dir.File("result.cal"));
    out.uncertainty = UncertaintyDigest(LastRunReport().uncertainty);
  });
  worker.join();
  return out;
}

// The digests recorded from the reference loops: name, calibration,
// uncertainty.
struct Recorded {
  const char* name;
  std::uint64_t calibration;
  std::uint64_t uncertainty;
};
constexpr Recorded kRecorded[] = {
    {"ExampleMarkedOrder1", 0xe87728b8250b894eULL, 0xc96d9ede28034f9aULL},   // OK
    {"ExampleMarkedOrder2", 0xf9d46297f1fe69f8ULL, 0xab772fb66debbab0ULL},   // OK
    {"ExampleMarkedOrder3", 0x940cf018157d9d33ULL, 0x8984b6294d83f80aULL},   // OK
    {"ExampleGenericOrder1", 0xe87728b8250b894eULL, 0xc96d9ede28034f9aULL},  // OK
    {"ExampleGenericOrder2", 0xf9d46297f1fe69f8ULL, 0xab772fb66debbab0ULL},  // OK
    {"ExampleGenericOrder3", 0x940cf018157d9d33ULL, 0x8984b6294d83f80aULL},  // OK
    {"Order1Samples20", 0x7ca3d4917fea8c6fULL,
     0x4188eab39b930d85ULL},  // Bi-directionnal scans detection error.
    {"Order2Samples20", 0x9a06859e675d918cULL,
     0x4188eab39b930d85ULL},  // Bi-directionnal scans detection error.
    {"Order3Samples20", 0xc6d1744a1b3b7cc8ULL,
     0x4188eab39b930d85ULL},  // Bi-directionnal scans detection error.
    {"Order1Samples40", 0x724b73bab0b83f34ULL, 0x8e75f094534e6abaULL},                   // OK
    {"Order2Samples40", 0x763f6e22d91259aULL, 0x1f703a73a9fc7903ULL},                    // OK
    {"Order3Samples40", 0x3e322f12dff83b99ULL, 0xdff02c607ad2036fULL},                   // OK
    {"Order1Samples157", 0x1a768d4374f5e4c6ULL, 0xa40de355bfcb570bULL},                  // OK
    {"Order2Samples157", 0x3ad168ad9eda9589ULL, 0x8a66313761da8281ULL},                  // OK
    {"Order3Samples157", 0xef1398fb56675495ULL, 0x74acf4ea0006e29cULL},                  // OK
    {"Order1Samples2000", 0xf2e197c9dcc9ba58ULL, 0xff93fd7907e7335fULL},                 // OK
    {"Order2Samples2000", 0x3c567f1249081feULL, 0xa8e270ea876513ffULL},                  // OK
    {"Order3Samples2000", 0x9d9105552a5b55f2ULL, 0x77c519fd34fe9828ULL},                 // OK
    {"Order3Samples32767", 0x83da6ac7fc5ecbc6ULL, 0x627b5e1acf07387eULL},                // OK
    {"Order1Samples32767", 0xfaf36e05da8deae7ULL, 0x80640044e807e442ULL},                // OK
    {"Order2Samples8000", 0xae0f756aae8246afULL, 0xc8dee1b6d76367e4ULL},                 // OK
    {"Order3FitOfOrder1Truth", 0xa01efa5e27b7b89eULL, 0xd55d610f2d9a2a08ULL},            // OK
    {"Order1FitOfOrder3Truth", 0x264241955cbda501ULL, 0x1902c8ad4210eb24ULL},            // OK
    {"Order3NoiseFree", 0x74ffb606a1cdae16ULL, 0x3b0a629ad34db79dULL},                   // OK
    {"Order3ProbeOffsets", 0x68a9f0464ea43d5aULL, 0x88a13a76897fb126ULL},                // OK
    {"Order2HeadOrientation", 0x7e7ee60543f30d2cULL, 0xe7749542f34812b1ULL},             // OK
    {"Order3HeadTurnedHalfRound", 0x5edbf463eda2b0c1ULL, 0x297b53cb91b8ac33ULL},         // OK
    {"Order3SmallSphereSixPlanes", 0x5290323f97d29af4ULL, 0x5942eb9c99e22eb5ULL},        // OK
    {"Order2NoEquatorSlantedArcs", 0xd746e8998c08160fULL, 0x649743f11c03c3a1ULL},        // OK
    {"Order3MoreIterationsTighterTests", 0x97944e02660e7b19ULL, 0x58513110ee710718ULL},  // OK
    {"Order2ConvergenceMethod0", 0xca2d8fc081b3404ULL, 0xa519772ae128e26dULL},           // OK
    {"Order2ConvergenceMethod1", 0x1300b544622f73d0ULL, 0x9f05a114de8e291bULL},          // OK
    {"Order2ConvergenceMethod2", 0x87cd346df61dd3aaULL, 0x23f74c6accfc832cULL},          // OK
    {"Order3DampingSettings", 0x1605899089597148ULL, 0x627535ffec65bcd8ULL},             // OK
    {"Order1DampingOverflows", 0x346ea6416e1b3f0cULL,
     0x4188eab39b930d85ULL},  // LM Error n°5 : Invalid procedure call or argument
    {"Order1DampingQuotientOverflows", 0xa510830a3a37e03cULL,
     0x4188eab39b930d85ULL},  // LM Error n°6 : Overflow
    {"Order3HugeReadingOverflows", 0x15c68871d9fa4322ULL,
     0x4188eab39b930d85ULL},                                             // LM Error n°6 : Overflow
    {"Order3RadiusHeld", 0x5fe04b2da6093b0fULL, 0x4287f1998ff70eb6ULL},  // OK
    {"Order1RadiusHeld", 0x55617cac39e904acULL, 0x685cadd3b2593d8ULL},   // OK
    {"Order3RebasedBounds", 0x43789cfdfcdbbb04ULL, 0x9486a81f3bdd243fULL},  // OK
};

// Each case runs with every instruction set of the vector kernels.
class UnchangedResults : public ::testing::TestWithParam<std::tuple<Case, simd::Isa>> {
 protected:
  void SetUp() override {
    const simd::Isa isa = std::get<1>(GetParam());
    if (!simd::Force(isa)) GTEST_SKIP() << "no " << simd::Name(isa) << " kernels here";
  }
  void TearDown() override { simd::Force(std::nullopt); }
};

TEST_P(UnchangedResults, CalibrationAndUncertaintyMatchTheRecordedDigests) {
  const Case& c = std::get<0>(GetParam());
  const Outcome out = RunCase(c);
  if (std::getenv("TAVRIC_PRINT_RESULT_DIGESTS") != nullptr) {
    std::cout << std::hex << "  {\"" << c.name << "\", 0x" << out.calibration << "ULL, 0x"
              << out.uncertainty << "ULL},  // " << out.result << std::dec << "\n";
  }
  const Recorded* recorded = nullptr;
  for (const Recorded& r : kRecorded)
    if (c.name == r.name) recorded = &r;
  ASSERT_NE(recorded, nullptr) << "no digests recorded for " << c.name;
  EXPECT_EQ(out.calibration, recorded->calibration) << out.result;
  EXPECT_EQ(out.uncertainty, recorded->uncertainty) << out.result;
}

INSTANTIATE_TEST_SUITE_P(Sweep, UnchangedResults,
                         ::testing::Combine(::testing::ValuesIn(Cases()),
                                            ::testing::Values(simd::Isa::kBaseline,
                                                              simd::Isa::kAvx2)),
                         [](const ::testing::TestParamInfo<std::tuple<Case, simd::Isa>>& param) {
                           return std::get<0>(param.param).name + "_" +
                                  simd::Name(std::get<1>(param.param));
                         });

}  // namespace
}  // namespace tavric
