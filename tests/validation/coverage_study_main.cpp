// tavric_coverage_study: the full study of how well the reported uncertainty
// covers the truth (see CoverageStudy.h). Prints one Markdown table.
//   tavric_coverage_study [SEEDS_PER_DESIGN] [SAMPLES]
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "CoverageStudy.h"

int main(int argc, char** argv) {
  using namespace tavric::validation;
  const int seeds = argc > 1 ? std::atoi(argv[1]) : 12;
  const int samples = argc > 2 ? std::atoi(argv[2]) : 4000;
  std::vector<DesignResult> results;
  for (int order = 1; order <= 3; ++order) {
    for (const Noise noise : {Noise{0.5, 0.05}, Noise{1.5, 0.2}, Noise{3.0, 0.5}}) {
      if (order < 3 && noise.counts != 1.5) continue;  // the noise levels at order 3
      for (const Design& d : StudyDesigns(samples, noise, order)) {
        results.push_back(RunDesign(d, seeds));
        std::fprintf(stderr, "%s: %d fits\n", d.name.c_str(), results.back().fits);
      }
    }
  }
  // The bootstrap uncertainty of the third-order designs that raise no
  // warning by design, with fewer seeds (each fit is 1 + 25 fits).
  for (Design d : StudyDesigns(samples, Noise{}, 3)) {
    if (d.name.rfind("five planes", 0) != 0 && d.name.rfind("one side", 0) != 0) continue;
    d.bootstrap = 25;
    results.push_back(RunDesign(d, std::max(2, seeds / 2)));
    std::fprintf(stderr, "%s, bootstrap: %d fits\n", d.name.c_str(), results.back().fits);
  }
  std::cout << Table(results);
  int fits = 0;
  for (const DesignResult& r : results) fits += r.fits;
  std::cout << "\n" << fits << " fits of " << samples << " samples each.\n";
  return 0;
}
