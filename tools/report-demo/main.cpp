// Writes a demonstration report page from simulated scans and says how long
// writing it took and how large it is.
//
//   tavric_report_demo OUTPUT.html [SAMPLES [SEED]]    (defaults 4000, 1)
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "DemoReport.h"
#include "tavric/ReportPage.h"

int main(int argc, char** argv) {
  if (argc < 2 || argc > 4) {
    std::cerr << "usage: tavric_report_demo OUTPUT.html [SAMPLES [SEED]]\n";
    return 2;
  }
  try {
    const std::string path = argv[1];
    const std::int32_t samples = argc > 2 ? std::stoi(argv[2]) : 4000;
    const std::uint64_t seed = argc > 3 ? std::stoull(argv[3]) : 1;
    const tavric::ReportContent content = tavric::demo::DemoReportContent(samples, seed);

    const auto start = std::chrono::steady_clock::now();
    const std::string result = tavric::WriteReportPage(path, content);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    if (result != "OK") {
      std::cerr << result << '\n';
      return 1;
    }
    std::cout << "Written " << path << ": " << content.residuals_um.size() << " samples, "
              << std::filesystem::file_size(path) << " bytes in " << took.count() << " ms\n";
    return 0;
  } catch (const std::exception& e) {
    std::cerr << "tavric_report_demo: " << e.what() << '\n';
    return 1;
  }
}
