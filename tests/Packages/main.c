#include <stdio.h>

int firedIn(const char* scenario);

int main(int argc, char** argv) {
  const int fired = argc == 2 ? firedIn(argv[1]) : -1;
  printf("%d contents fired\n", fired);
  return fired > 0 ? 0 : 1;
}
