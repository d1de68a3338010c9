// Compares the fit that `tavric calibrate --json` (or the "fit" object of
// `tavric check --json`) printed with a calibration made by the library,
// key by key (so that keys added later do not disturb it).
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tavric/Calibration.h"

namespace tavric::testing {

// The expanded uncertainties (µm) of the deflection along and across the
// normal and of the radius, as `j` (an "expanded_95_um" object) holds them.
inline void ExpectExpandedUncertainty(const nlohmann::json& j, const DeflectionUncertainty& d,
                                      double radius_u, bool radius_held) {
  EXPECT_EQ(j["normal"].get<double>(), 2.0 * d.normal.p95 * 1000.0);
  EXPECT_EQ(j["across"].get<double>(), 2.0 * d.across.p95 * 1000.0);
  if (radius_held) {
    EXPECT_TRUE(j["radius"].is_null());
  } else {
    EXPECT_EQ(j["radius"].get<double>(), 2.0 * radius_u * 1000.0);
  }
}

// `j` holds the result, sample count, order, fit statistics (µm), sphere,
// iteration count, stop reason, scan planes, uncertainty (its expanded
// figures, and the bootstrap's when it ran), warnings and per-iteration
// history of `cal`.
inline void ExpectFitJsonHoldsTheCalibration(const nlohmann::json& j, const Calibration& cal) {
  const RunReport& report = cal.run_report();
  EXPECT_EQ(j["result"], "OK");
  EXPECT_EQ(j["samples"], report.samples);
  EXPECT_EQ(j["order"], cal.order());
  EXPECT_EQ(j["fit_rms_um"].get<double>(), cal.statistics().rms * 1000.0);
  EXPECT_EQ(j["fit_min_um"].get<double>(), cal.statistics().min * 1000.0);
  EXPECT_EQ(j["fit_max_um"].get<double>(), cal.statistics().max * 1000.0);
  EXPECT_EQ(j["sphere"]["centre"], nlohmann::json(cal.sphere().centre));
  EXPECT_EQ(j["sphere"]["radius"].get<double>(), cal.sphere().radius);
  EXPECT_EQ(j["sphere"]["radius_held"], report.radius_held);
  EXPECT_EQ(j["iterations"], report.outer_iterations);
  EXPECT_EQ(j["stop_reason"], ToString(report.stop_reason));
  EXPECT_EQ(j["planes"], report.planes);
  EXPECT_EQ(j["bidirectional_planes"], report.bidirectional_planes);
  const FitUncertainty& u = cal.uncertainty();
  ASSERT_EQ(j["uncertainty"]["available"], u.available);
  if (u.available) {
    ExpectExpandedUncertainty(j["uncertainty"]["expanded_95_um"], u.at_samples, u.radius_u,
                              u.radius_held);
    const auto& bootstrap = j["uncertainty"]["bootstrap"];
    if (u.bootstrap.fits == 0) {
      EXPECT_TRUE(bootstrap.is_null()) << bootstrap;
    } else {
      EXPECT_EQ(bootstrap["fits"], u.bootstrap.fits);
      EXPECT_EQ(bootstrap["seed"], u.bootstrap.seed);
      ExpectExpandedUncertainty(bootstrap["expanded_95_um"], u.bootstrap.at_samples,
                                u.bootstrap.radius_u, u.radius_held);
    }
  }
  ASSERT_EQ(j["warnings"].size(), cal.warnings().size()) << j["warnings"];
  for (std::size_t i = 0; i < cal.warnings().size(); ++i) {
    EXPECT_EQ(j["warnings"][i]["code"], cal.warnings()[i].code);
  }
  ASSERT_EQ(j["history"].size(), report.iterations.size());
  for (std::size_t i = 0; i < report.iterations.size(); ++i) {
    const IterationRecord& it = report.iterations[i];
    const auto& h = j["history"][i];
    EXPECT_EQ(h["iteration"], it.iteration);
    EXPECT_EQ(h["S"].get<double>(), it.S);
    EXPECT_EQ(h["fit_rms_um"].get<double>(), it.FitRMS * 1000.0);
    EXPECT_EQ(h["fit_min_um"].get<double>(), it.FitMin * 1000.0);
    EXPECT_EQ(h["fit_max_um"].get<double>(), it.FitMax * 1000.0);
    EXPECT_EQ(h["mu"].get<double>(), it.Mu);
    EXPECT_EQ(h["rejected_trials"], it.rejected_trials);
  }
}

}  // namespace tavric::testing
