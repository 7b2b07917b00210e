/* A program that knows the library by its file alone. */
#include <kvexa.h>
#include <stdio.h>
#include <windows.h>

typedef int32_t(__stdcall* CountFunction)(uint32_t*, uint32_t*);
typedef double(__stdcall* RateFunction)(const BoardHandle*);
typedef int32_t(__cdecl* DataFunction)(void*, uint32_t, uint32_t*, void*, uint32_t);

static const struct {
  const char* name;
  int isCdecl;
  unsigned bytes;
} table[] = {
#define EXPORT(name, convention, words) {#name, #convention[0] == 'C', 4 * (words)},
#define EXPORT_ALIAS(name, function, words) {#name, 0, 4 * (words)},
#include "exports.inc"
#undef EXPORT_ALIAS
#undef EXPORT
};

static FARPROC find(HMODULE library, unsigned i) {
  char name[100];
  if (table[i].isCdecl) return GetProcAddress(library, table[i].name);
  sprintf(name, "_%s@%u", table[i].name, table[i].bytes);
  return GetProcAddress(library, name);
}

int main(void) {
  uint32_t usb = 9, pcie = 9, received;
  char byte;
  unsigned i;
  const HMODULE library = LoadLibraryA("KVEXA_LIB.dll");
  if (library == NULL) return 1;
  for (i = 0; i < sizeof table / sizeof table[0]; ++i) {
    if (find(library, i) == NULL) {
      printf("%s is not there\n", table[i].name);
      return 2;
    }
  }
  if (((CountFunction)(void*)GetProcAddress(library, "_kVexaDevNum@8"))(&usb, &pcie) != 0 || usb != 0 ||
      pcie != 0)
    return 3;
  if (((RateFunction)(void*)GetProcAddress(library, "_kVexaGetFrameRate@4"))(NULL) != -54.0) return 4;
  if (((DataFunction)(void*)GetProcAddress(library, "kUsbGetData"))(NULL, 0, &received, &byte, 1) !=
      KVEXA_FAILED)
    return 5;
  if (!FreeLibrary(library) || GetModuleHandleA("KVEXA_LIB.dll") != NULL) return 6;
  return 0;
}
