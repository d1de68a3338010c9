// Time to gather a calibration's report content (CalibrationReportContent:
// residual directions, scans, the uncertainty map), to render the report
// page (RenderReportPage, in memory) and to write it (WriteReportPage) for
// 4,000 and 32,767 simulated samples, and the page's size.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "BenchData.h"
#include "DemoReport.h"
#include "tavric/CalibrationReport.h"
#include "tavric/ReportPage.h"

namespace {

const tavric::ReportContent& Content(int samples) {
  static std::map<int, tavric::ReportContent> cache;
  auto it = cache.find(samples);
  if (it == cache.end())
    it = cache.emplace(samples, tavric::demo::DemoReportContent(samples, 1)).first;
  return it->second;
}

void BM_CalibrationReportContent(benchmark::State& state) {
  const int samples = static_cast<int>(state.range(0));
  const std::vector<tavric::Sample> data = tavric::samples_of(tavric::bench::Scan(3, samples));
  const tavric::Calibration cal = tavric::calibrate(data);
  tavric::ReportFacts facts;
  facts.data_file = "scan.txt";
  for (auto _ : state) {
    const tavric::ReportContent content = tavric::CalibrationReportContent(cal, data, facts);
    benchmark::DoNotOptimize(content.residuals_um.data());
  }
}

void BM_RenderReportPage(benchmark::State& state) {
  const tavric::ReportContent& content = Content(static_cast<int>(state.range(0)));
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::string html = tavric::RenderReportPage(content);
    bytes = html.size();
    benchmark::DoNotOptimize(html.data());
  }
  state.counters["bytes"] = static_cast<double>(bytes);
}

void BM_WriteReportPage(benchmark::State& state) {
  const tavric::ReportContent& content = Content(static_cast<int>(state.range(0)));
  const std::string path =
      (std::filesystem::temp_directory_path() / "tavric-bench-report.html").string();
  for (auto _ : state) {
    const std::string result = tavric::WriteReportPage(path, content);
    if (result != "OK") state.SkipWithError(result.c_str());
  }
  state.counters["bytes"] = static_cast<double>(std::filesystem::file_size(path));
  std::filesystem::remove(path);
}

BENCHMARK(BM_CalibrationReportContent)
    ->ArgName("samples")
    ->Arg(4000)
    ->Arg(32767)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RenderReportPage)
    ->ArgName("samples")
    ->Arg(4000)
    ->Arg(32767)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteReportPage)
    ->ArgName("samples")
    ->Arg(4000)
    ->Arg(32767)
    ->Unit(benchmark::kMillisecond);

}  // namespace
