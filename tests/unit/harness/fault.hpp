/* How the harness makes the n-th operation fail; tests set it as world.fault (harness::Fault). */
#pragma once

#include "harness.hpp"

namespace harness {

void start_counting_operations();
void stop_counting_operations();

/* Counts an operation of this kind. True if it must fail now and its kind can fail in the requested way,
 * which is one of its faults or of `cuts`. A power cut in front of the operation does not return. */
bool goes_wrong(const std::string& operation, Kind kind, const std::vector<Way>& cuts = {});
/* The same for an operation whose only fault is an error; sets errno to `error`. */
bool breaks(const char* operation, int error);

/* The power cuts that are possible in the middle of a command line or a write. */
std::vector<Way> cuts_of_command(const std::string& command);
std::vector<Way> cuts_of_write(int fd, size_t size);

/* Runs world.system(), whose own file calls are not counted as operations of the library. */
int answer(const std::string& command);
/* Performs a failing command line, read or write. */
int run_badly(const std::string& command);
ssize_t read_badly(int fd, void* buffer);
ssize_t write_badly(int fd, const void* buffer, size_t size);

}  // namespace harness
