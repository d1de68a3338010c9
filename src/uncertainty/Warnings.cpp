// The warnings of a calibration run: findings that make it less trustworthy
// than its "OK" says, each with its reason and the measured figure. The
// thresholds and how they were chosen are described in docs/calibration.md.
#include <algorithm>
#include <string>

#include "runtime/NumberText.h"
#include "tavric/Calibration.h"
#include "uncertainty/Wording.h"

namespace tavric {
namespace {

using uncertainty::Micrometres;
using uncertainty::Percent;

const char* OrderName(int order) {
  switch (order) {
    case 1:
      return "first";
    case 2:
      return "second";
    default:
      return "third";
  }
}

// Planes scanned in both senses that a fit of the order needs: more than
// the order, and never fewer than the three the scan-path check demands.
int PlanesNeeded(int order) { return std::max(3, order + 1); }

void Add(std::vector<Warning>& out, const char* code, std::string text, double value,
         double limit) {
  out.push_back({code, std::move(text), value, limit});
}

}  // namespace

std::vector<Warning> diagnose(const RunReport& report, const WarningThresholds& t) {
  std::vector<Warning> w;
  if (report.result != "OK") return w;

  const int needed = PlanesNeeded(report.order);
  if (report.bidirectional_planes < needed) {
    Add(w, "few-planes",
        "Only " + std::to_string(report.bidirectional_planes) +
            " planes were scanned in both senses; a " + OrderName(report.order) +
            "-order fit needs at least " + std::to_string(needed) + ".",
        report.bidirectional_planes, needed);
  }

  const FitUncertainty& u = report.uncertainty;
  if (!u.available) {
    Add(w, "no-uncertainty", "The calibration's uncertainty could not be computed: " + u.note + ".",
        0.0, 0.0);
    return w;
  }
  if (u.rank < u.parameters) {
    Add(w, "undetermined",
        "The scan leaves " + std::to_string(u.parameters - u.rank) +
            " combination(s) of the parameters undetermined.",
        u.parameters - u.rank, 0.0);
  }

  // The bootstrap's figures, when it ran, take in what the linear ones leave
  // out.
  const DeflectionUncertainty& deflection =
      u.bootstrap.fits > 0 ? u.bootstrap.at_samples : u.at_samples;
  const double normal95 = 2.0 * deflection.normal.p95;
  if (normal95 > t.normal_uncertainty) {
    Add(w, "normal-uncertainty",
        "The deflection along the sphere's normal is uncertain by up to \u00b1" +
            Micrometres(normal95) + " (95 %), more than \u00b1" +
            Micrometres(t.normal_uncertainty) + ".",
        normal95, t.normal_uncertainty);
  }
  const double across95 = 2.0 * deflection.across.p95;
  if (across95 > t.across_uncertainty) {
    std::string why;
    if (!u.weakest.empty()) why = " The weakest direction: " + u.weakest.front().summary + ".";
    Add(w, "across-uncertainty",
        "The deflection across the sphere's normal is uncertain by up to \u00b1" +
            Micrometres(across95) + " (95 %), more than the \u00b1" +
            Micrometres(t.across_uncertainty) + " of a well-designed scan." + why,
        across95, t.across_uncertainty);
  }
  if (!report.radius_held && u.deflection_variation < t.deflection_variation) {
    Add(w, "constant-deflection",
        "The deflection's size varies by only " + Percent(u.deflection_variation, 1) +
            " along the scans (less than " + Percent(t.deflection_variation, 0) +
            "): the probe gain and the sphere radius can hardly be told apart. Vary the "
            "deflection along the scans, or give the known radius.",
        u.deflection_variation, t.deflection_variation);
  }
  if (u.plane_spread < t.plane_spread) {
    Add(w, "planes-share-axis",
        "Every scan plane nearly contains one axis, " + uncertainty::AxisName(u.plane_axis) +
            " (plane spread " + uncertainty::Fixed(u.plane_spread, 3) + ", less than " +
            uncertainty::Fixed(t.plane_spread, 2) +
            "): a rotation of the probe's axes about it hardly shows in the residuals. Also "
            "scan a plane tilted towards it (e.g. the equator when the planes are vertical).",
        u.plane_spread, t.plane_spread);
  }
  if (report.stop_reason == StopReason::kIterationLimit) {
    const double normal_share =
        u.at_samples.normal.p95 > 0.0 ? u.last_step_normal_change / u.at_samples.normal.p95 : 0.0;
    const double across_share =
        u.at_samples.across.p95 > 0.0 ? u.last_step_across_change / u.at_samples.across.p95 : 0.0;
    const double share = std::max(normal_share, across_share);
    if (share > t.last_step_share) {
      const bool normal = normal_share >= across_share;
      Add(w, "still-moving",
          "The optimiser stopped at its iteration limit while its last step still moved the "
          "deflection by " +
              Micrometres(normal ? u.last_step_normal_change : u.last_step_across_change) +
              (normal ? " along" : " across") + " the normal (" + Percent(share) +
              " of its standard uncertainty); allow more iterations.",
          share, t.last_step_share);
    }
  }
  if (u.residual_autocorrelation > t.residual_autocorrelation) {
    Add(w, "residual-pattern",
        "The residuals are not noise-like: neighbouring residuals correlate by " +
            uncertainty::Fixed(u.residual_autocorrelation, 2) +
            " (a systematic pattern along the scans: a higher order, or a problem with the "
            "machine or the probe).",
        u.residual_autocorrelation, t.residual_autocorrelation);
  }
  if (u.outlier_fraction > t.outlier_fraction) {
    Add(w, "outliers",
        Percent(u.outlier_fraction, 2) +
            " of the residuals lie beyond 5 standard deviations (spikes, collisions, or "
            "samples off the sphere).",
        u.outlier_fraction, t.outlier_fraction);
  }
  return w;
}

}  // namespace tavric
