/*
 * executor_lines commit    makes the command lines of standard input in one transaction, as l3ctl does; status 1
 *                          and the refused lines if the packet filter refused one
 * executor_lines keys 4|6  prints the key of each rule on standard input, in hexadecimal, one a line
 *
 * Lines end with a zero byte. Tests of the lab compare what this does with what the tools do.
 */
#include <cstdio>
#include <cstring>
#include <iostream>
#include <iterator>

#include "executor/executor.hpp"
#include "executor/rule.hpp"

namespace {

std::vector<std::string> input_lines() {
  std::vector<std::string> lines;
  for (std::string line; std::getline(std::cin, line, '\0');) {
    lines.push_back(line);
  }
  return lines;
}

int commit() {
  executor::Executor executor;
  executor.set_mode(executor::Mode::transaction);
  for (const std::string& line : input_lines()) {
    executor.run(line.c_str());
  }
  const bool is_made = executor.commit() && executor.failed_lines().empty();
  for (const executor::FailedLine& failed : executor.failed_lines()) {
    std::cerr << failed.line << ": " << failed.message;
  }
  return is_made ? 0 : 1;
}

int print_keys(executor::Family family) {
  for (const std::string& line : input_lines()) {
    for (const char c : executor::rule_key(family, line)) {
      std::printf("%02x", static_cast<unsigned char>(c));
    }
    std::puts("");
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 2 && std::strcmp(arguments[1], "commit") == 0) {
    return commit();
  }
  if (count == 3 && std::strcmp(arguments[1], "keys") == 0) {
    return print_keys(*arguments[2] == '6' ? executor::Family::ipv6 : executor::Family::ipv4);
  }
  std::fputs("usage: executor_lines commit|keys 4|keys 6\n", stderr);
  return 2;
}
