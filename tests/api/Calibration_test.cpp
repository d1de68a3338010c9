// The modern C++ API: independent calibration objects on the same engine as
// ClsProbeCalibration, bit for bit.
#include "tavric/Calibration.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/DataFile.h"
#include "tavric/ScanSimulator.h"

namespace tavric {
namespace {

using testing::ReadFileBytes;
using testing::TempDir;

const std::string kExamples = TAVRIC_EXAMPLES_DIR;

sim::SimulatedData Simulate(int order, int samples, std::uint64_t seed = 1, Vec3 offsets = {}) {
  sim::Scenario scenario;
  scenario.calibration.order = order;
  scenario.calibration.offsets = offsets;
  scenario.plan.total_samples = samples;
  scenario.noise.counts_sigma = 1.5;
  scenario.noise.position_sigma_um = 0.2;
  scenario.noise.seed = seed;
  return sim::Simulate(scenario);
}

std::vector<Sample> Samples(const DataArray& data) {
  std::vector<Sample> out;
  for (std::int32_t k = data.LBound(2); k <= data.UBound(2); ++k)
    out.push_back({data(1, k), data(2, k), data(3, k), data(4, k), data(5, k), data(6, k)});
  return out;
}

// The calibration file ClsProbeCalibration writes for the data and options
// (set through its own setters).
std::string LiteralCalibrationFile(const DataArray& data, const Options& o, const TempDir& dir) {
  ClsProbeCalibration cal;
  cal.InitialProbeGain(o.initial_probe_gain);
  cal.IterationMaxNumber(static_cast<std::uint8_t>(o.max_iterations));
  cal.Mu(o.mu);
  cal.nu(o.nu);
  cal.InitialHX7a(o.head.a_deg);
  cal.InitialHX7b(o.head.b_deg);
  cal.LetHX7aDir(o.head.a_axis[0], o.head.a_axis[1], o.head.a_axis[2]);
  cal.LetHX7bDir(o.head.b_axis[0], o.head.b_axis[1], o.head.b_axis[2]);
  if (o.probe_offsets != Vec3{0.0, 0.0, 0.0})
    cal.LetProbeOffsets(o.probe_offsets[0], o.probe_offsets[1], o.probe_offsets[2]);
  auto order = static_cast<std::uint8_t>(o.order);
  EXPECT_EQ(cal.Optimise(data, order), "OK");
  const std::string file = dir.File("literal.cal");
  EXPECT_EQ(cal.SaveCalibrationFunctions(file), "OK");
  return ReadFileBytes(file);
}

std::string ModernCalibrationFile(const Calibration& cal, const TempDir& dir) {
  const std::string file = dir.File("modern.cal");
  cal.save(file);
  return ReadFileBytes(file);
}

TEST(Calibration, TheExamplesGiveTheSameFileAsTheLiteralClassByteForByte) {
  for (const char* name : {"sphere-scan-marked.txt", "sphere-scan-generic.txt"}) {
    const std::string path = kExamples + "/" + name;
    TempDir dir;
    ClsProbeCalibration literal;
    std::uint8_t order = 3;
    ASSERT_EQ(literal.OptimiseFromFile(path, order), "OK");
    ASSERT_EQ(literal.SaveCalibrationFunctions(dir.File("literal.cal")), "OK");
    const Calibration modern = calibrate_file(path);
    EXPECT_EQ(ModernCalibrationFile(modern, dir), ReadFileBytes(dir.File("literal.cal"))) << name;
  }
}

TEST(Calibration, SimulatedCasesOfEveryOrderWithSettingsGiveTheSameFileAsTheLiteralClass) {
  for (int order = 1; order <= 3; ++order) {
    const sim::SimulatedData s = Simulate(order, 1500, 10 + order, {120.0, -35.0, 8.0});
    Options o;
    o.order = order;
    o.probe_offsets = {120.0, -35.0, 8.0};
    o.max_iterations = 6 + order;
    o.mu = 0.001;
    o.nu = 4.0;
    o.initial_probe_gain = 6.0e-5;
    o.head = {5.0, -3.0, {-1.0, 0.1, 0.0}, {0.0, 0.05, 1.0}};
    TempDir dir;
    const Calibration modern = calibrate(Samples(s.data), o);
    EXPECT_EQ(ModernCalibrationFile(modern, dir), LiteralCalibrationFile(s.data, o, dir))
        << "order " << order;
  }
}

TEST(Calibration, RowsOfSixValuesCalibrateLikeSamples) {
  const sim::SimulatedData s = Simulate(2, 1200);
  std::vector<double> rows;
  for (const Sample& x : Samples(s.data)) rows.insert(rows.end(), {x.P, x.Q, x.R, x.X, x.Y, x.Z});
  Options o;
  o.order = 2;
  TempDir dir;
  EXPECT_EQ(ModernCalibrationFile(calibrate(std::span<const double>(rows), o), dir),
            ModernCalibrationFile(calibrate(Samples(s.data), o), dir));
  rows.pop_back();
  try {
    calibrate(std::span<const double>(rows), o);
    ADD_FAILURE() << "a row of five values was accepted";
  } catch (const Error& e) {
    EXPECT_EQ(e.code(), ErrorCode::kInvalidData);
  }
}

TEST(Calibration, TwoCalibrationsOnOneThreadStayIndependent) {
  const sim::SimulatedData a = Simulate(3, 2000, 1);
  const sim::SimulatedData b = Simulate(1, 2000, 2);
  Options first;
  Options second;
  second.order = 1;
  const Calibration cal_a = calibrate(Samples(a.data), first);
  const Vec3 before = cal_a.deflection({1200.0, -350.0, 80.0});
  const Calibration cal_b = calibrate(Samples(b.data), second);
  // A literal-class instance on this thread does not touch them either.
  ClsProbeCalibration literal;
  EXPECT_EQ(cal_a.deflection({1200.0, -350.0, 80.0}), before);
  EXPECT_EQ(cal_a.order(), 3);
  EXPECT_EQ(cal_b.order(), 1);
  EXPECT_NE(cal_b.deflection({1200.0, -350.0, 80.0}), before);
}

TEST(Calibration, LeavesTheThreadsLiteralCalibrationAlone) {
  ClsProbeCalibration literal;
  literal.IterationMaxNumber(3);
  literal.SetPolyParameters(1, 0, 0, 0.5, 0.25, 0.125);
  calibrate_file(kExamples + "/sphere-scan-marked.txt");
  EXPECT_EQ(literal.IterationMaxNumber(), 3);
  double x = 0, y = 0, z = 0;
  literal.GetPolyParameters(1, 0, 0, x, y, z);
  EXPECT_EQ(x, 0.5);
  EXPECT_EQ(literal.FitRMS(), 0.0);
}

TEST(Calibration, EightThreadsAtOnceGiveTheSingleThreadResults) {
  std::vector<sim::SimulatedData> data;
  for (int i = 0; i < 8; ++i) data.push_back(Simulate(1 + i % 3, 1000, 100 + i));
  std::vector<std::string> alone(8), parallel(8);
  TempDir dir;
  const auto run = [&](int i, std::vector<std::string>& out) {
    Options o;
    o.order = 1 + i % 3;
    const Calibration cal = calibrate(Samples(data[static_cast<std::size_t>(i)].data), o);
    const std::string file = dir.File("c" + std::to_string(i) + (&out == &alone ? "a" : "p"));
    cal.save(file);
    out[static_cast<std::size_t>(i)] = ReadFileBytes(file);
  };
  for (int i = 0; i < 8; ++i) run(i, alone);
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back(run, i, std::ref(parallel));
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(parallel, alone);
}

TEST(Calibration, ADeflectionWithoutOffsetsIsTheLiteralTransformBitForBit) {
  const Calibration cal = calibrate_file(kExamples + "/sphere-scan-marked.txt");
  ClsProbeCalibration literal;
  std::uint8_t order = 3;
  ASSERT_EQ(literal.OptimiseFromFile(kExamples + "/sphere-scan-marked.txt", order), "OK");
  for (const Vec3& r : {Vec3{1200.0, -350.0, 80.0}, Vec3{0.0, 0.0, 0.0}, Vec3{-4000, 2500, -100}}) {
    Vec3 expected;
    literal.Transform(r[0], r[1], r[2], expected[0], expected[1], expected[2]);
    const Vec3 got = cal.deflection(r);
    EXPECT_EQ(std::memcmp(got.data(), expected.data(), sizeof got), 0);
  }
}

TEST(Calibration, WithOffsetsTheRestReadingGivesNoDeflectionAndTipCentresLieOnTheSphere) {
  const Vec3 offsets{120.0, -35.0, 8.0};
  const sim::SimulatedData s = Simulate(3, 4000, 5, offsets);
  Options o;
  o.probe_offsets = offsets;
  const Calibration cal = calibrate(Samples(s.data), o);
  EXPECT_EQ(cal.probe_offsets(), offsets);
  const Vec3 rest = cal.deflection(offsets);
  for (double c : rest) EXPECT_NEAR(c, 0.0, 1e-12);
  const double rms = cal.statistics().rms;
  for (const Sample& x : Samples(s.data)) {
    const Vec3 d = cal.deflection({x.P, x.Q, x.R});
    const Vec3 tip{x.X + d[0], x.Y + d[1], x.Z + d[2]};
    double r2 = 0.0;
    for (std::size_t a = 0; a < 3; ++a)
      r2 += (tip[a] - cal.sphere().centre[a]) * (tip[a] - cal.sphere().centre[a]);
    ASSERT_LE(std::fabs(std::sqrt(r2) - cal.sphere().radius), 5.0 * rms);
  }
}

TEST(Calibration, ResidualsAreThoseOfTheTipCentresOnTheFittedSphere) {
  const Calibration cal = calibrate_file(kExamples + "/sphere-scan-marked.txt");
  DataArray data;
  ASSERT_EQ(ReadCalibrationDataFile(kExamples + "/sphere-scan-marked.txt", data), "OK");
  ASSERT_EQ(cal.residuals().size(), 4000u);
  double sum = 0.0;
  for (std::int32_t k = 1; k <= 4000; ++k) {
    const Vec3 d = cal.deflection({data(1, k), data(2, k), data(3, k)});
    double r2 = 0.0;
    for (std::int32_t a = 0; a < 3; ++a) {
      const double w = data(4 + a, k) + d[static_cast<std::size_t>(a)] -
                       cal.sphere().centre[static_cast<std::size_t>(a)];
      r2 += w * w;
    }
    EXPECT_NEAR(cal.residuals()[static_cast<std::size_t>(k - 1)],
                std::sqrt(r2) - cal.sphere().radius, 1e-9);
    sum += cal.residuals()[static_cast<std::size_t>(k - 1)] *
           cal.residuals()[static_cast<std::size_t>(k - 1)];
  }
  EXPECT_NEAR(std::sqrt(sum / 4000.0), cal.statistics().rms, 1e-15);
}

TEST(Calibration, TheBatchFormGivesTheSingleReadingResults) {
  const Calibration cal = calibrate_file(kExamples + "/sphere-scan-marked.txt");
  std::vector<Vec3> readings;
  for (int i = 0; i < 100; ++i) readings.push_back({i * 50.0 - 2500.0, 1800.0 - i * 31.0, i * 7.0});
  std::vector<Vec3> out(readings.size());
  cal.deflections(readings, out);
  for (std::size_t i = 0; i < readings.size(); ++i) EXPECT_EQ(out[i], cal.deflection(readings[i]));
  std::vector<Vec3> short_out(3);
  EXPECT_THROW(cal.deflections(readings, short_out), Error);
}

// The file holds numbers to 15 significant digits.
void ExpectSameTo15Digits(double a, double b) { EXPECT_NEAR(a, b, 1e-14 * std::fabs(b)); }

TEST(Calibration, SaveAndLoadRoundTripEveryNumberTo15Digits) {
  const Calibration cal = calibrate_file(kExamples + "/sphere-scan-marked.txt");
  TempDir dir;
  cal.save(dir.File("a.cal"));
  const Calibration loaded = load(dir.File("a.cal"));
  EXPECT_EQ(loaded.order(), 3);
  for (std::size_t a = 0; a < 3; ++a)
    ExpectSameTo15Digits(loaded.sphere().centre[a], cal.sphere().centre[a]);
  ExpectSameTo15Digits(loaded.sphere().radius, cal.sphere().radius);
  ExpectSameTo15Digits(loaded.statistics().rms, cal.statistics().rms);
  const std::vector<Term> a = cal.terms();
  const std::vector<Term> b = loaded.terms();
  ASSERT_EQ(a.size(), 19u);
  ASSERT_EQ(b.size(), 19u);
  for (std::size_t t = 0; t < a.size(); ++t)
    for (std::size_t axis = 0; axis < 3; ++axis)
      ExpectSameTo15Digits(b[t].coefficients[axis], a[t].coefficients[axis]);
  EXPECT_FALSE(loaded.uncertainty().available);
  EXPECT_TRUE(loaded.residuals().empty());
  EXPECT_TRUE(loaded.warnings().empty());
  try {
    loaded.deflection_covariance({0.0, 0.0, 0.0});
    ADD_FAILURE() << "a loaded calibration gave a covariance";
  } catch (const Error& e) {
    EXPECT_EQ(e.code(), ErrorCode::kNoUncertainty);
  }
  loaded.save(dir.File("b.cal"));
  EXPECT_EQ(ReadFileBytes(dir.File("b.cal")), ReadFileBytes(dir.File("a.cal")));
}

ErrorCode CodeOf(const std::function<void()>& f, std::string* text = nullptr) {
  try {
    f();
  } catch (const Error& e) {
    if (text != nullptr) *text = e.text();
    return e.code();
  }
  ADD_FAILURE() << "no Error raised";
  return ErrorCode::kInvalidOption;
}

TEST(Calibration, ADataFileGivenAsACalibrationIsRefused) {
  std::string text;
  EXPECT_EQ(CodeOf([] { load(kExamples + "/sphere-scan-marked.txt"); }, &text),
            ErrorCode::kNotACalibration);
  EXPECT_NE(text.find("No calibration found"), std::string::npos) << text;
  EXPECT_EQ(CodeOf([] { load(kExamples + "/no-such-file.cal"); }, &text), ErrorCode::kLoadFailed);
  EXPECT_EQ(text, "LoadCalibrationFunctions Error n°53 File not found");
}

TEST(Calibration, FailuresCarryTheLibrarysTextAndAStableCode) {
  std::string text;
  EXPECT_EQ(CodeOf([] { calibrate_file(kExamples + "/no-such-file.txt"); }, &text),
            ErrorCode::kReadFailed);
  EXPECT_EQ(text, "File reading(Generic) error 53 : File not found");

  sim::Scenario one_plane;
  one_plane.plan.planes = 1;
  one_plane.plan.total_samples = 1000;
  const sim::SimulatedData s = sim::Simulate(one_plane);
  EXPECT_EQ(CodeOf([&] { calibrate(Samples(s.data)); }, &text), ErrorCode::kScanPathRejected);
  EXPECT_EQ(text, "Bi-directionnal scans detection error.");

  std::vector<Sample> many(40000, Sample{1.0, 2.0, 3.0, 4.0, 5.0, 6.0});
  try {
    calibrate(many);
    ADD_FAILURE() << "40,000 samples were accepted";
  } catch (const Error& e) {
    EXPECT_EQ(e.code(), ErrorCode::kInvalidData);
    EXPECT_EQ(e.text(), "Optimise Error 6 : Overflow");
    ASSERT_NE(e.report(), nullptr);
    EXPECT_EQ(e.report()->failed_stage, RunStage::kData);
  }
  EXPECT_EQ(to_string(ErrorCode::kScanPathRejected), std::string("scan-path-rejected"));
}

TEST(Calibration, OutOfRangeOptionsAreRefusedWithTheirNameNotClamped) {
  const auto refused = [](const std::function<void(Options&)>& change, const char* name) {
    Options o;
    change(o);
    std::string text;
    EXPECT_EQ(CodeOf([&] { o.validate(); }, &text), ErrorCode::kInvalidOption) << name;
    EXPECT_NE(text.find(name), std::string::npos) << text;
  };
  refused([](Options& o) { o.order = 0; }, "order");
  refused([](Options& o) { o.order = 4; }, "order");
  refused([](Options& o) { o.max_iterations = 255; }, "max_iterations");
  refused([](Options& o) { o.max_iterations = -1; }, "max_iterations");
  refused([](Options& o) { o.mu = 0.0; }, "mu");
  refused([](Options& o) { o.nu = 1.0; }, "nu");
  refused([](Options& o) { o.initial_probe_gain = std::nan(""); }, "initial_probe_gain");
  refused([](Options& o) { o.initial_probe_gain = 0.0; }, "initial_probe_gain");
  refused([](Options& o) { o.sphere_tolerance = -1.0; }, "sphere_tolerance");
  refused([](Options& o) { o.convergence = static_cast<ConvergenceTest>(7); }, "convergence");
  refused([](Options& o) { o.head.a_axis = {0.0, 0.0, 0.0}; }, "head.a_axis");
  refused([](Options& o) { o.known_radius = -2.0; }, "known_radius");
  refused([](Options& o) { o.probe_offsets[1] = INFINITY; }, "probe_offsets");
  Options ok;
  ok.max_iterations = 254;
  EXPECT_NO_THROW(ok.validate());
  // calibrate() validates before it runs.
  Options bad;
  bad.max_iterations = 300;
  EXPECT_EQ(CodeOf([&] { calibrate_file(kExamples + "/sphere-scan-marked.txt", bad); }),
            ErrorCode::kInvalidOption);
}

TEST(Calibration, AKnownRadiusIsHeldAndDeterminesAConstantDeflectionScan) {
  sim::Scenario scenario;
  scenario.deflection.variation = 0.0;
  scenario.noise.counts_sigma = 1.5;
  scenario.noise.position_sigma_um = 0.2;
  const sim::SimulatedData s = sim::Simulate(scenario);
  const Calibration free = calibrate(Samples(s.data));
  Options o;
  o.known_radius = s.truth.radius;
  const Calibration held = calibrate(Samples(s.data), o);
  EXPECT_EQ(held.sphere().radius, s.truth.radius);
  EXPECT_TRUE(held.run_report().radius_held);
  const FitUncertainty& u = held.uncertainty();
  ASSERT_TRUE(u.available);
  EXPECT_TRUE(u.radius_held);
  EXPECT_EQ(u.parameters, 60);
  EXPECT_EQ(u.radius_u, 0.0);
  // Without the radius the scan cannot tell gain from radius: the free fit's
  // radius is far off and its normal uncertainty large. Holding the radius
  // removes that, and the uncertainty the same fit would have had with the
  // radius free is the free fit's.
  EXPECT_GT(std::fabs(free.sphere().radius - s.truth.radius), 0.05);
  const double free_normal = free.uncertainty().at_samples.normal.p95;
  EXPECT_LT(3.0 * u.at_samples.normal.p95, free_normal);
  EXPECT_NEAR(u.at_samples_radius_fitted.normal.p95, free_normal, 0.2 * free_normal);
  EXPECT_GT(u.radius_u_fitted, 0.05);
  for (const Warning& w : held.warnings()) EXPECT_NE(w.code, "constant-deflection");
}

}  // namespace
}  // namespace tavric
