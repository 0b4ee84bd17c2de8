/* The settings record as a 32-bit C caller sees it: the header's static
 * assertions hold in this translation unit, and at run time the C++ view
 * agrees with the C one. */
#include <stddef.h>
#include <stdio.h>

#include "vobrex32.h"

_Static_assert(sizeof(void*) == 4, "a 32-bit build");

size_t CppModesSize(void);
size_t CppFocusValueOffset(void);
size_t CppSemiFactorsOffset(void);

int main(void) {
  if (CppModesSize() != sizeof(CameraModes) ||
      CppFocusValueOffset() != offsetof(CameraModes, focusValue) ||
      CppSemiFactorsOffset() != offsetof(CameraModes, semiFactors)) {
    fprintf(stderr, "layout: the C and C++ views of CameraModes differ\n");
    return 1;
  }
  printf("layout: CameraModes is %u bytes in C and C++\n", (unsigned)sizeof(CameraModes));
  return 0;
}
