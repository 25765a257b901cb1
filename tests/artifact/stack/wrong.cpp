// What check_stack.py has to find: recursion that nobody counted, a frame of any size, a call through a
// pointer, and a callee that it knows nothing of.
extern "C" {

void nobody_knows(char* text);
void (*pointer)();

void flush_fw(int size) {
  char text[size];
  nobody_knows(text);
  pointer();
  if (size > 1) {
    flush_fw(size - 1);
    nobody_knows(text);
  }
}
}
