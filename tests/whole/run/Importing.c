/* A program that is linked with the library: prints how many boards of each type there are. */
#include <kvexa.h>
#include <stdio.h>

int main(void) {
  uint32_t usb = 0, pcie = 0;
  kVexaDevNum(&usb, &pcie);
  printf("%u %u\n", (unsigned)usb, (unsigned)pcie);
  return 0;
}
