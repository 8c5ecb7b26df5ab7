// A main() for the benchmark programs that, after the usual output, prints one table per workload:
// the median rate of each runner in GB/s, its median CPU time per call, and the library's rate as a
// ratio of each peer's; below each workload, the library's time over the fastest peer's.
// Benchmarks are named "<workload>/<runner>", the library's runner being "qor".
#ifndef QORSTL_BENCH_RATIO_REPORT_H_
#define QORSTL_BENCH_RATIO_REPORT_H_

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace qor_bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      // With repetitions the median counts; a single run counts as its own median.
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      const std::string name = run.run_name.function_name + run.run_name.args;
      const auto it = run.counters.find("bytes_per_second");
      if (it == run.counters.end()) continue;
      const std::size_t slash = name.find('/');
      if (slash == std::string::npos) continue;
      std::string runner = name.substr(slash + 1);
      const std::size_t extra = runner.find('/');
      if (extra != std::string::npos) runner.erase(extra);
      auto& rows = table_[name.substr(0, slash)];
      const double ns =
          run.GetAdjustedCPUTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
      bool replaced = false;
      for (auto& row : rows) {
        if (row.runner == runner) row = Row{runner, it->second.value, ns}, replaced = true;
      }
      if (!replaced) rows.push_back(Row{runner, it->second.value, ns});
      if (order_.empty() || order_.back() != name.substr(0, slash)) {
        bool seen = false;
        for (const auto& w : order_) seen = seen || w == name.substr(0, slash);
        if (!seen) order_.push_back(name.substr(0, slash));
      }
    }
  }

  void PrintTable() const {
    std::printf("\n%-34s %-22s %10s %12s %12s\n", "workload", "runner", "GB/s", "ns/call",
                "qor/runner");
    for (const std::string& workload : order_) {
      const auto& rows = table_.at(workload);
      double ours = 0, ours_ns = 0, best_ns = 0;
      for (const auto& row : rows) {
        if (row.runner == "qor")
          ours = row.rate, ours_ns = row.ns;
        else if (best_ns == 0 || row.ns < best_ns)
          best_ns = row.ns;
      }
      for (const auto& row : rows) {
        std::printf("%-34s %-22s %10.3f %12.1f", workload.c_str(), row.runner.c_str(),
                    row.rate / 1e9, row.ns);
        if (ours > 0 && row.runner != "qor") std::printf(" %11.2fx", ours / row.rate);
        std::printf("\n");
      }
      if (ours_ns > 0 && best_ns > 0)
        std::printf("%-34s %-22s %36.2f\n", workload.c_str(), "time qor/best", ours_ns / best_ns);
    }
  }

 private:
  struct Row {
    std::string runner;
    double rate;  // bytes per second
    double ns;    // per call
  };
  std::map<std::string, std::vector<Row>> table_;
  std::vector<std::string> order_;
};

}  // namespace qor_bench

// One per program.
int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  qor_bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintTable();
  benchmark::Shutdown();
  return 0;
}

#endif  // QORSTL_BENCH_RATIO_REPORT_H_
