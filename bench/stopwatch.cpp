/*
 * Times competitors against each other, in the gateway of the lab.
 *
 *     stopwatch cases                        the names of all cases
 *     stopwatch prepare CASE FOLDER          the state that the case finds, and its lines
 *     stopwatch restore FOLDER                that state is in place again
 *     stopwatch time FOLDER ROUNDS SECONDS    competitors on standard input, samples on standard output
 *
 * A competitor is one line or several, words parted by tabs: its name, then
 *
 *     call CASE        the library's call, in this process
 *     baseline          the call's lines, in this process: a bare loop of system()
 *     run PROGRAM …     a program
 *     first PROGRAM …   a program that gets ready, before the clock starts
 *
 * A sample is the word, the competitor's name, the round, nanoseconds, and the processes that were started. Each round runs
 * every competitor once; of two that stand side by side every other round runs the second first. The
 * rounds end after ROUNDS, or after SECONDS when there were five.
 */
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "gateway_state.hpp"

namespace {

using Words = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

struct Competitor {
  std::string name;
  std::vector<Words> steps;
};

struct Sample {
  std::string name;
  int round;
  int64_t nanoseconds;
  long processes;
};

constexpr int fewest_rounds = 5;

const bench::Case& case_named(const std::string& name) {
  static const std::vector<bench::Case> all = bench::cases();
  const auto found =
      std::find_if(all.begin(), all.end(), [&](const auto& one) { return one.name == name; });
  if (found == all.end()) {
    fprintf(stderr, "%s: no such one\n", name.c_str());
    exit(2);
  }
  return *found;
}

std::vector<Competitor> read_competitors() {
  std::vector<Competitor> all;
  std::string line;
  while (std::getline(std::cin, line)) {
    Words words;
    std::istringstream fields(line);
    for (std::string word; std::getline(fields, word, '\t');) {
      words.push_back(word);
    }
    if (all.empty() || all.back().name != words[0]) {
      all.push_back({words[0], {}});
    }
    all.back().steps.emplace_back(words.begin() + 1, words.end());
  }
  return all;
}

/* The number that the last process of this process space got: they are given in order. */
long last_process() {
  std::ifstream file("/proc/loadavg");
  std::string word;
  for (int i = 0; i < 5; ++i) {
    file >> word;
  }
  return std::stol(word);
}

void run_baseline(const bench::GatewayState& state) {
  for (const std::string& line : state.lines()) {
    system(line.c_str());
  }
}

void run_step(const bench::GatewayState& state, const Words& step) {
  if (step[0] == "call") {
    case_named(step[1]).call();
  } else if (step[0] == "baseline") {
    run_baseline(state);
  } else {
    bench::run(Words(step.begin() + 1, step.end()));
  }
}

/* Those that get ready, or the others. */
void run_steps(const bench::GatewayState& state, const Competitor& competitor, bool first) {
  for (const Words& step : competitor.steps) {
    if ((step[0] == "first") == first) {
      run_step(state, step);
    }
  }
}

Sample take_sample(const bench::GatewayState& state, const Competitor& competitor, int round) {
  state.restore();
  run_steps(state, competitor, true);
  const long processes = last_process();
  const Clock::time_point start = Clock::now();
  run_steps(state, competitor, false);
  const std::chrono::nanoseconds taken = Clock::now() - start;
  return {competitor.name, round, taken.count(), last_process() - processes};
}

void time_all(const std::string& folder, int rounds, double seconds) {
  const bench::GatewayState state(folder);
  std::vector<Competitor> competitors = read_competitors();
  std::vector<Sample> samples;
  const Clock::time_point start = Clock::now();
  for (int round = 0; round < rounds; ++round) {
    const std::chrono::duration<double> passed = Clock::now() - start;
    if (round >= fewest_rounds && passed.count() > seconds) {
      break;
    }
    for (const Competitor& competitor : competitors) {
      samples.push_back(take_sample(state, competitor, round));
    }
    for (size_t i = 0; i + 1 < competitors.size(); i += 2) {
      std::swap(competitors[i], competitors[i + 1]);
    }
  }
  // Only now, and behind everything that the library and the programs have printed.
  printf("\n");
  for (const Sample& sample : samples) {
    printf("sample\t%s\t%d\t%lld\t%ld\n", sample.name.c_str(), sample.round,
           static_cast<long long>(sample.nanoseconds), sample.processes);
  }
}

}  // namespace

int main(int count, char** arguments) {
  const Words words(arguments + 1, arguments + count);
  if (count == 2 && words[0] == "cases") {
    for (const bench::Case& one : bench::cases()) {
      puts(one.name.c_str());
    }
  } else if (count == 4 && words[0] == "prepare") {
    bench::prepare(case_named(words[1]), words[2]);
  } else if (count == 3 && words[0] == "restore") {
    bench::GatewayState(words[1]).restore();
  } else if (count == 5 && words[0] == "time") {
    time_all(words[1], std::stoi(words[2]), std::stod(words[3]));
  } else {
    fputs(
        "usage: stopwatch cases | prepare CASE FOLDER | restore FOLDER | time FOLDER ROUNDS "
        "SECONDS\n",
        stderr);
    return 2;
  }
  return 0;
}
