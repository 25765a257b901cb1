/*
 * What a scenario does outside the library, operation after operation, and what becomes of the call
 * when one of them fails: whether it returns -1, and what it says. Written by hand from what each call
 * promises; the sweep holds every fault against it.
 *
 * Transfers that move less than asked go on, or are taken as they are: the call returns 0.
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
using Course = std::vector<Step>;

Course operator+(Course left, const Course& right);

/* Command lines whose result nobody looks at; and those that make the call fail. */
Course runs(size_t lines);
Course needs(size_t lines);
/* A platform call, and what is said when it fails. */
Course asks(const harness::Lines& says);
/* File operations ("open lseek write"), each of which counts and says nothing; a failed close never
 * matters. */
Course silent(const std::string& operations);
/* The same between a look whether the file is there and a close, each naming `call` and itself. */
Course named(const std::string& call, const std::string& operations);
Course named(const std::string& call, const std::string& operations, const std::string& path);
/* A look at a file; only one that is missing makes a difference. */
Course looks(size_t times = 1);

/* The same where the caller does not mind; and where it adds its own words to each failure. */
Course ignored(Course course);
Course told(Course course, const harness::Lines& words);

/* Calls that many others make. */
Course load();       /* get_firewall_rules_from_cfgfile */
Course store();      /* set_firewall_rules_to_cfgfile */
Course read_state(); /* get_firewall_state_from_cfgfile */
/* get_qos_cfg_from_cfgfile for gl3_init_qos on a device without its file. */
Course qos_of_a_new_device();

/* By the scenario's name. */
using Courses = std::map<std::string, Course>;
Courses file_courses();
Courses filter_courses();
Courses control_courses();
/* Fails the test where there is none of this name. */
const Course& course_of(const std::string& scenario);

}  // namespace scenarios
