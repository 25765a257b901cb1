/* peak FILE PROGRAM…: runs a program and writes to FILE how many KiB the largest of its processes had in memory.
 * Linked statically, since a child counts what its parent had before it becomes another program. */
#include <spawn.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/wait.h>

extern char** environ;

int main(int count, char** arguments) {
  pid_t child = -1;
  int status = -1;
  struct rusage used;
  if (count < 3 || posix_spawnp(&child, arguments[2], NULL, NULL, arguments + 2, environ) != 0 ||
      wait4(child, &status, 0, &used) != child || status != 0) {
    fprintf(stderr, "peak: the program failed\n");
    return 1;
  }
  FILE* file = fopen(arguments[1], "w");
  return file == NULL || fprintf(file, "%ld\n", used.ru_maxrss) < 0 || fclose(file) != 0;
}
