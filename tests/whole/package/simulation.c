/* A C program with simulated boards of its own. */
#include "simulationChecks.h"

#include <stdio.h>

int main(void) {
  const int failed = failedSimulationCheck();
  if (failed != 0) printf("check %d failed\n", failed);
  return failed;
}
