#include "course.hpp"

#include <sstream>

namespace scenarios {

using harness::Lines;

namespace {

constexpr char config_file[] = "/ztcfg/l3_advance.dat";

Course of_kind(const std::string& kind, size_t times, bool counts) {
  return Course(times, {kind, counts});
}

const Courses& all_courses() {
  static const Courses all = [] {
    Courses courses = file_courses();
    courses.merge(filter_courses());
    courses.merge(control_courses());
    return courses;
  }();
  return all;
}

}  // namespace

Course operator+(Course left, const Course& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

Course runs(size_t lines) {
  return of_kind("run", lines, false);
}

Course needs(size_t lines) {
  return of_kind("run", lines, true);
}

Course asks(const Lines& says) {
  return {{"platform", true, says}};
}

Course silent(const std::string& operations) {
  Course course;
  std::istringstream words(operations);
  for (std::string kind; words >> kind;) {
    course.push_back({kind, kind != "close"});
  }
  return course;
}

Course named(const std::string& call, const std::string& operations, const std::string& path) {
  Course course = silent(operations);
  for (Step& step : course) {
    step.says = harness::out(call + "::" + step.kind + " " + path + " error!\n");
  }
  return looks() + course + silent("close");
}

Course named(const std::string& call, const std::string& operations) {
  return named(call, operations, config_file);
}

Course looks(size_t times) {
  return of_kind("access", times, false);
}

Course ignored(Course course) {
  for (Step& step : course) {
    step.counts = false;
  }
  return course;
}

Course told(Course course, const Lines& words) {
  for (Step& step : course) {
    if (step.counts) {
      step.says = harness::operator+(step.says, words);
    }
  }
  return course;
}

Course load() {
  return named("get_firewall_rules_from_cfgfile", "open lseek read lseek read");
}

Course store() {
  return named("set_firewall_rules_to_cfgfile", "open lseek write lseek write");
}

Course read_state() {
  return looks() + silent("open lseek read close");
}

const Course& course_of(const std::string& scenario) {
  static const Course none;
  const auto found = all_courses().find(scenario);
  EXPECT_NE(found, all_courses().end()) << "nothing says how " << scenario << " fails";
  return found == all_courses().end() ? none : found->second;
}

}  // namespace scenarios
