/*
 * How many KiB the largest of a program's processes had in memory, written to FILE.
 *
 *     peak FILE PROGRAM…        of this program
 *     peak FILE --lines LINES   of the shells, and what they start, for each of the lines, which end in a zero
 *
 * Linked statically and small: ru_maxrss survives exec, so a child starts with the peak of this program.
 */
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>

extern char** environ;

/* The largest of its processes, or -1; how the program ended is in status. */
static long peak_of(char** words, int* status) {
  pid_t child = -1;
  struct rusage used;
  if (posix_spawnp(&child, words[0], NULL, NULL, words, environ) != 0 ||
      wait4(child, status, 0, &used) != child) {
    return -1;
  }
  return used.ru_maxrss;
}

static long peak_of_program(char** words) {
  int status = -1;
  const long peak = peak_of(words, &status);
  return status == 0 ? peak : -1;
}

/* Like system() in a loop; results are ignored. */
static long peak_of_lines(const char* path) {
  FILE* file = fopen(path, "r");
  char* line = NULL;
  size_t size = 0;
  long most = -1;
  while (file != NULL && getdelim(&line, &size, '\0', file) > 0) {
    char* words[] = {"sh", "-c", line, NULL};
    int status = -1;
    const long peak = peak_of(words, &status);
    most = peak > most ? peak : most;
  }
  free(line);
  return file != NULL && fclose(file) == 0 ? most : -1;
}

int main(int count, char** arguments) {
  long most = -1;
  if (count == 4 && strcmp(arguments[2], "--lines") == 0) {
    most = peak_of_lines(arguments[3]);
  } else if (count >= 3) {
    most = peak_of_program(arguments + 2);
  }
  if (most < 0) {
    fprintf(stderr, "peak: the program failed\n");
    return 1;
  }
  FILE* file = fopen(arguments[1], "w");
  return file == NULL || fprintf(file, "%ld\n", most) < 0 || fclose(file) != 0;
}
