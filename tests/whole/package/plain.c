/* A C program. */
#include "checks.h"

#include <stdio.h>

int main(void) {
  const int failed = failedCheck();
  if (failed != 0) printf("check %d failed\n", failed);
  return failed;
}
