// The bootstrap uncertainty of a calibration (Options::bootstrap_fits).
//
// The linear uncertainty of the fit analysis assumes the residuals change
// linearly with the parameters over their uncertainty. Along the directions
// a sphere scan pins down weakly (the deflection across the normal of a
// third-order fit) that is not so: there the calibration scatters more than
// the linear figure says. The bootstrap measures the scatter instead: each
// replica keeps the scan's readings, puts every machine position back on the
// fitted sphere (centre + radius x normal - fitted deflection) plus Gaussian
// noise of the fit's sigma along the normal, and is calibrated with the same
// options. The second moments of the replicas' deflections about the
// calibration's own, at every sample, give the figures.
//
// The replicas run on several threads; each has its own noise stream and the
// sums are formed in replica order, so the result is the same for any number
// of threads.
#include "api/Bootstrap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <thread>
#include <vector>

#include "runtime/Narrow.h"
#include "simulation/GaussianNoise.h"
#include "uncertainty/DeflectionCovariance.h"

namespace tavric {
namespace {

// What one replica contributes: the change of the deflection at every
// sample, and of the sphere.
struct Replica {
  bool fitted = false;
  std::vector<Vec3> change;
  Vec3 centre_change{0.0, 0.0, 0.0};
  double radius_change = 0.0;
};

std::uint64_t ReplicaSeed(std::uint64_t seed, int replica) {
  // Distinct, well-mixed seeds for the replicas of one bootstrap.
  return seed * 0x9E3779B97F4A7C15ULL +
         static_cast<std::uint64_t>(replica) * 0xBF58476D1CE4E5B9ULL + 1;
}

Replica RunReplica(const DataArray& data, const Calibration& fitted, const std::vector<Vec3>& base,
                   const Options& options, int replica, const RefitFunction& refit) {
  const FitUncertainty& u = fitted.uncertainty();
  sim::GaussianNoise noise(ReplicaSeed(options.bootstrap_seed, replica));
  DataArray copy = data;
  const Int32 l1 = data.LBound(1);
  const Int32 l2 = data.LBound(2);
  for (std::size_t k = 0; k < base.size(); ++k) {
    const double e = u.sigma * noise.Next();
    const Vec3& n = u.sample_normals[k];
    for (Int32 a = 0; a < 3; ++a)
      copy(l1 + 3 + a, l2 + static_cast<Int32>(k)) =
          base[k][static_cast<std::size_t>(a)] + e * n[static_cast<std::size_t>(a)];
  }
  Replica r;
  std::optional<Calibration> cal = refit(copy);
  if (!cal) return r;
  r.fitted = true;
  r.change.resize(base.size());
  for (std::size_t k = 0; k < base.size(); ++k) {
    const Int32 col = l2 + static_cast<Int32>(k);
    const Vec3 reading{data(l1, col), data(l1 + 1, col), data(l1 + 2, col)};
    const Vec3 a = cal->deflection(reading);
    const Vec3 b = fitted.deflection(reading);
    r.change[k] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
  }
  for (std::size_t a = 0; a < 3; ++a)
    r.centre_change[a] = cal->sphere().centre[a] - fitted.sphere().centre[a];
  r.radius_change = cal->sphere().radius - fitted.sphere().radius;
  return r;
}

}  // namespace

FitUncertainty::Bootstrap RunBootstrap(const DataArray& data, const Calibration& fitted,
                                       const Options& options, const RefitFunction& refit) {
  FitUncertainty::Bootstrap result;
  result.seed = options.bootstrap_seed;
  const FitUncertainty& u = fitted.uncertainty();
  const int fits = options.bootstrap_fits;
  if (fits < 2 || !u.available) return result;

  // The machine positions that put every tip centre on the fitted sphere.
  const Int32 l1 = data.LBound(1);
  const Int32 l2 = data.LBound(2);
  const std::size_t m = u.sample_normals.size();
  std::vector<Vec3> base(m);
  for (std::size_t k = 0; k < m; ++k) {
    const Int32 col = l2 + static_cast<Int32>(k);
    const Vec3 d = fitted.deflection({data(l1, col), data(l1 + 1, col), data(l1 + 2, col)});
    for (std::size_t a = 0; a < 3; ++a)
      base[k][a] =
          fitted.sphere().centre[a] + fitted.sphere().radius * u.sample_normals[k][a] - d[a];
  }

  const unsigned hardware = std::max(1u, std::thread::hardware_concurrency());
  const auto threads = static_cast<std::size_t>(std::min(fits, options.bootstrap_threads > 0
                                                                   ? options.bootstrap_threads
                                                                   : static_cast<int>(hardware)));
  std::vector<std::array<double, 6>> moments(m, std::array<double, 6>{});
  double radius_moment = 0.0;
  Vec3 centre_moment{0.0, 0.0, 0.0};
  // Replicas in batches of `threads`, summed in replica order.
  for (int first = 0; first < fits; first += static_cast<int>(threads)) {
    const int count = std::min(static_cast<int>(threads), fits - first);
    std::vector<Replica> batch(static_cast<std::size_t>(count));
    std::vector<std::thread> pool;
    for (int i = 1; i < count; ++i)
      pool.emplace_back([&, i] {
        batch[static_cast<std::size_t>(i)] =
            RunReplica(data, fitted, base, options, first + i, refit);
      });
    batch[0] = RunReplica(data, fitted, base, options, first, refit);
    for (std::thread& t : pool) t.join();
    for (const Replica& r : batch) {
      if (!r.fitted) continue;
      ++result.fits;
      for (std::size_t k = 0; k < m; ++k) {
        const Vec3& c = r.change[k];
        std::array<double, 6>& s = moments[k];
        s[0] += c[0] * c[0];
        s[1] += c[0] * c[1];
        s[2] += c[0] * c[2];
        s[3] += c[1] * c[1];
        s[4] += c[1] * c[2];
        s[5] += c[2] * c[2];
      }
      for (std::size_t a = 0; a < 3; ++a)
        centre_moment[a] += r.centre_change[a] * r.centre_change[a];
      radius_moment += r.radius_change * r.radius_change;
    }
  }
  if (result.fits < 2) {
    result.fits = 0;
    return result;
  }
  const double n = result.fits;
  uncertainty::UncertaintyCollector collector(m);
  for (std::size_t k = 0; k < m; ++k) {
    std::array<double, 6>& s = moments[k];
    for (double& x : s) x /= n;
    const uncertainty::Mat3 c = {{{s[0], s[1], s[2]}, {s[1], s[3], s[4]}, {s[2], s[4], s[5]}}};
    collector.Add(uncertainty::Split(c, u.sample_normals[k]));
  }
  result.at_samples = collector.Summary();
  for (std::size_t a = 0; a < 3; ++a) result.centre_u[a] = std::sqrt(centre_moment[a] / n);
  result.radius_u = std::sqrt(radius_moment / n);
  result.sample_covariance = std::move(moments);
  return result;
}

}  // namespace tavric
