// The fast part of the coverage study: the reported uncertainty covers the
// true deflection error of well-designed scans, and poor designs are warned.
// (The full study is scripts/coverage-study.sh; its table is in
// docs/calibration.md.)
#include "CoverageStudy.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tavric/Calibration.h"

namespace tavric::validation {
namespace {

Design Named(const std::string& prefix, int samples, int order) {
  for (const Design& d : StudyDesigns(samples, Noise{}, order))
    if (d.name.rfind(prefix, 0) == 0) return d;
  ADD_FAILURE() << "no design " << prefix;
  return {};
}

bool Has(const DesignResult& r, const std::string& code) {
  return std::find(r.codes.begin(), r.codes.end(), code) != r.codes.end();
}

TEST(CoverageStudy, AWellDesignedScanIsCoveredAlongTheNormalAndRaisesNoWarning) {
  const DesignResult r = RunDesign(Named("five planes", 1500, 2), 10);
  EXPECT_EQ(r.fits, 10);
  EXPECT_GE(r.normal_coverage, 0.90);
  EXPECT_LE(r.normal_coverage, 0.99);
  EXPECT_GE(r.radius_coverage, 0.8);
  EXPECT_EQ(r.warned, 0) << Table({r});
}

TEST(CoverageStudy, EveryFitWithALargeTrueErrorAlongTheNormalIsWarned) {
  std::vector<DesignResult> results;
  for (const char* name : {"constant deflection", "no equator", "three planes"})
    results.push_back(RunDesign(Named(name, 1500, 3), 3));
  for (const DesignResult& r : results) {
    EXPECT_EQ(r.large_error_unwarned, 0) << Table(results);
    EXPECT_EQ(r.warned, r.fits) << r.design.name;
  }
  EXPECT_GT(results[0].large_error_fits, 0);  // a constant deflection is far off
  EXPECT_TRUE(Has(results[0], "constant-deflection"));
  EXPECT_TRUE(Has(results[1], "planes-share-axis"));
  EXPECT_TRUE(Has(results[2], "few-planes"));
}

std::vector<Sample> Samples(const DataArray& data) {
  std::vector<Sample> out;
  for (std::int32_t k = data.LBound(2); k <= data.UBound(2); ++k)
    out.push_back({data(1, k), data(2, k), data(3, k), data(4, k), data(5, k), data(6, k)});
  return out;
}

TEST(CoverageStudy, TheBootstrapGivesTheSameFiguresOnAnyNumberOfThreads) {
  sim::Scenario s = Named("five planes", 1500, 3).scenario;
  const std::vector<Sample> samples = Samples(sim::Simulate(s).data);
  Options o;
  o.bootstrap_fits = 6;
  o.bootstrap_threads = 1;
  const Calibration one = calibrate(samples, o);
  o.bootstrap_threads = 3;
  const Calibration three = calibrate(samples, o);
  const FitUncertainty& u = one.uncertainty();
  ASSERT_EQ(u.bootstrap.fits, 6);
  EXPECT_EQ(three.uncertainty().bootstrap.sample_covariance, u.bootstrap.sample_covariance);
  EXPECT_EQ(three.uncertainty().bootstrap.radius_u, u.bootstrap.radius_u);
  EXPECT_GT(u.bootstrap.at_samples.across.p95, 0.0);
  EXPECT_GT(u.bootstrap.at_samples.normal.p95, 0.0);
  // The linear figures are untouched by the bootstrap.
  const Calibration plain = calibrate(samples);
  EXPECT_EQ(plain.uncertainty().at_samples.across.p95, u.at_samples.across.p95);
  EXPECT_EQ(plain.uncertainty().bootstrap.fits, 0);
}

}  // namespace
}  // namespace tavric::validation
