/*
 * The expected operations of a scenario, in order, and for each what its failure does to the call:
 * whether it returns -1, and which lines it reports. Written by hand from the headers; the sweep makes
 * each operation fail and compares.
 *
 * For example gl3_web_remove_all_mac_rule() flushes and saves, and each of the two command lines fails
 * the call with a message of its own; then it writes both records to the file:
 *
 *     with_message(needs(1), error("gl3_web_remove_all_mac_rule::flush_fw_mac err!\n")) +
 *         with_message(needs(1), error("gl3_web_remove_all_mac_rule::save_fw err!\n")) +
 *         with_message(store(), error("gl3_web_remove_all_mac_rule::"
 *                                     "set_firewall_rules_to_cfgfile err!\n"))
 *
 * To add a scenario, describe it in scenarios_*.cpp and its expectation under the same name in
 * expectations_*.cpp.
 *
 * A short read or write is continued, or counts as complete: the call returns 0.
 */
#pragma once

#include <map>
#include <string>
#include <vector>

#include "harness.hpp"

namespace scenarios {

struct Step {
  std::string kind; /* the first word of the operation */
  bool counts;      /* the call returns -1 where it fails */
  harness::Lines says = {};
};
using Expectation = std::vector<Step>;

Expectation operator+(Expectation left, const Expectation& right);

/* Command lines whose failure is only logged; and command lines whose failure fails the call. */
Expectation runs(size_t lines);
Expectation needs(size_t lines);
/* A platform call, and the lines that its failure reports. */
Expectation asks(const harness::Lines& says);
/* File operations ("open lseek write"), each of which fails the call without a message; a failed close is
 * ignored. */
Expectation silent(const std::string& operations);
/* The same between an existence test and a close, each with the message "<call>::<operation> … error!". */
Expectation named(const std::string& call, const std::string& operations);
Expectation named(const std::string& call, const std::string& operations, const std::string& path);
/* Existence tests, whose failure is ignored. */
Expectation looks(size_t times = 1);

/* The same where the caller ignores the result; and where it adds its own lines to each failure. */
Expectation ignored(Expectation expectation);
Expectation with_message(Expectation expectation, const harness::Lines& words);

/* Calls that are part of many others. */
Expectation load();       /* get_firewall_rules_from_cfgfile */
Expectation store();      /* set_firewall_rules_to_cfgfile */
Expectation read_state(); /* get_firewall_state_from_cfgfile */
/* get_qos_cfg_from_cfgfile for gl3_init_qos on a device without its file. */
Expectation qos_of_a_new_device();

/* By the scenario's name. */
using Expectations = std::map<std::string, Expectation>;
Expectations file_expectations();
Expectations filter_expectations();
Expectations control_expectations();
/* Fails the test where there is none of this name. */
const Expectation& expectation_of(const std::string& scenario);

}  // namespace scenarios
