/* What GCC's analyzer has to find, a line an error that the library could have. Never linked. */
#include <cstdio>
#include <cstring>

struct Record {
  int count;
  int state;
};

static int global;

int reads_what_nobody_wrote(int count) {
  Record record;
  record.count = count;
  return record.state;  // use-of-uninitialized-value
}

int follows_a_null_pointer(bool found) {
  int* number = found ? &global : nullptr;
  return *number;  // null-dereference
}

bool leaves_a_file_open(const char* path) {
  return fopen(path, "r") != nullptr;  // file-leak
}
