// What check_stack.py has to find: unlisted recursion, a frame of unknown size, a call through a
// pointer, and an unknown callee.
extern "C" {

void unknown_callee(char* text);
void (*pointer)();

void flush_fw(int size) {
  char text[size];
  unknown_callee(text);
  pointer();
  if (size > 1) {
    flush_fw(size - 1);
    unknown_callee(text);
  }
}
}
