/* How the harness lets one operation out of all go wrong; tests see it as harness::Mishap. */
#pragma once

#include "harness.hpp"

namespace harness {

void start_counting_operations();
void stop_counting_operations();

/* Counts an operation of this kind. Whether it is the one to go wrong now, in a way that it knows: that
 * of its faults, or one of `cuts`. A power cut where it would have begun does not return. */
bool goes_wrong(const std::string& operation, Kind kind, const std::vector<Way>& cuts = {});
/* The same for an operation that only fails, with errno set to `error`. */
bool breaks(const char* operation, int error);

/* The power cuts in the middle of a command line or a write that it knows. */
std::vector<Way> cuts_of_command(const std::string& command);
std::vector<Way> cuts_of_write(int fd, size_t size);

/* The world's answer to a command line, whose own file calls are no operations of the library. */
int answer(const std::string& command);
/* What a command line, a read or a write does that goes wrong. */
int run_badly(const std::string& command);
ssize_t read_badly(int fd, void* buffer);
ssize_t write_badly(int fd, const void* buffer, size_t size);

}  // namespace harness
