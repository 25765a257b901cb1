/*
 * The time that each case's call takes in the library alone: its commands do nothing. By Google
 * Benchmark; its options are as everywhere.
 */
#include <benchmark/benchmark.h>

#include <chrono>

#include "cases.hpp"
#include "platform.hpp"

extern "C" int system(const char* /*command*/) {
  return 0;
}

namespace {

void measure(benchmark::State& state, const bench::Case& one, bool log) {
  bench::log_on(log);
  for (auto _ : state) {
    one.before();
    const auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(one.call());
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(taken.count());
  }
}

}  // namespace

int main(int count, char** arguments) {
  benchmark::Initialize(&count, arguments);
  for (const bench::Case& one : bench::cases()) {
    for (const bool log : {false, true}) {
      benchmark::RegisterBenchmark((one.name + (log ? ", log on" : "")).c_str(), measure, one, log)
          ->UseManualTime()
          ->Iterations(20)
          ->Repetitions(9)
          ->ReportAggregatesOnly()
          ->Unit(benchmark::kMicrosecond);
    }
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
