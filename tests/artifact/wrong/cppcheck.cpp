/* What cppcheck has to find, or its silence about the tree means nothing. Never built. */
int past_the_end() {
  int numbers[4] = {};
  return numbers[4];
}
