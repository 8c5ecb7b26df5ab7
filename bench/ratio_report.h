// The one reporter of the benchmark programs, and their main(). After the usual output it prints
// one table per workload: the median rate of each runner in GB/s, its median CPU time per call, and
// the library's rate as a ratio of each peer's; below each workload, the library's time over the
// fastest peer's. Then any grid a program asked for with AddGrid.
// Benchmarks are named "<workload>/<runner>": the runner is the last part of the name, the
// library's runner being "qor"; a name without '/' is only in the usual output.
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
      const std::string& name = run.run_name.function_name;
      const auto it = run.counters.find("bytes_per_second");
      if (it == run.counters.end()) continue;
      const std::size_t slash = name.rfind('/');
      if (slash == std::string::npos) continue;
      const std::string runner = name.substr(slash + 1);
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

  void PrintTables() const {
    PrintTable();
    for (const Grid& grid : Grids()) PrintGrid(grid);
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

  // A grid over workloads named "<line>/<column>": one line per line name and runner other than
  // `peer`, one column per column name, each cell "rate/peer's rate=ratio" in GB/s.
  struct Grid {
    std::string title;
    std::string peer;
  };
  static std::vector<Grid>& Grids() {
    static std::vector<Grid> grids;
    return grids;
  }

  void PrintGrid(const Grid& grid) const {
    std::vector<std::string> lines, columns;
    const auto add = [](std::vector<std::string>& names, const std::string& name) {
      for (const std::string& seen : names) {
        if (seen == name) return;
      }
      names.push_back(name);
    };
    std::map<std::string, std::map<std::string, double>> rate, peer_rate;  // [line][column]
    for (const std::string& workload : order_) {
      const std::size_t slash = workload.rfind('/');
      if (slash == std::string::npos) continue;
      const std::string line = workload.substr(0, slash), column = workload.substr(slash + 1);
      for (const Row& row : table_.at(workload)) {
        if (row.runner == grid.peer) {
          peer_rate[line][column] = row.rate;
          continue;
        }
        add(lines, line + " " + row.runner);
        add(columns, column);
        rate[line + " " + row.runner][column] = row.rate;
      }
    }
    std::printf("\n%s\n%-34s", grid.title.c_str(), "");
    for (const std::string& column : columns) std::printf(" %20s", column.c_str());
    std::printf("\n");
    for (const std::string& line : lines) {
      std::printf("%-34s", line.c_str());
      const std::string base = line.substr(0, line.rfind(' '));
      for (const std::string& column : columns) {
        const auto got = rate[line].find(column);
        const double ours = got == rate[line].end() ? 0 : got->second / 1e9;
        const double peer = peer_rate[base].count(column) ? peer_rate[base][column] / 1e9 : 0;
        char cell[64];
        std::snprintf(cell, sizeof cell, "%.2f/%.2f=%.2f", ours, peer, peer > 0 ? ours / peer : 0);
        std::printf(" %20s", cell);
      }
      std::printf("\n");
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

// Asks for a grid of every runner's rate over `peer`'s after the tables; call it before main runs
// (from a static initializer), as a program registers its benchmarks.
inline bool AddGrid(const std::string& title, const std::string& peer) {
  RatioReporter::Grids().push_back({title, peer});
  return true;
}

}  // namespace qor_bench

namespace qor_bench {

// Runs the benchmarks the command line selects and prints the tables after the usual output.
inline int RunAndReport(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintTables();
  benchmark::Shutdown();
  return 0;
}

}  // namespace qor_bench

// One per program; a program that sets its own default options defines QORSTL_BENCH_OWN_MAIN and
// calls RunAndReport from its main.
#if !defined(QORSTL_BENCH_OWN_MAIN)
int main(int argc, char** argv) {
  return qor_bench::RunAndReport(argc, argv);
}
#endif

#endif  // QORSTL_BENCH_RATIO_REPORT_H_
