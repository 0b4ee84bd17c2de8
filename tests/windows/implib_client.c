/* A Windows program that links vobrex32.lib and calls through the header's
 * declarations, as an application built against the import library does:
 * every call must reach the decorated export it names. */
#include <stdio.h>
#include <stdlib.h>

#include "vobrex32.h"

static int failures = 0;

static void Check(int ok, const char* what) {
  if (!ok) {
    fprintf(stderr, "FAILED: %s\n", what);
    ++failures;
  }
}

int main(void) {
  int width = 0, height = 0, bytes = 0;
  int* semi;
  HGLOBAL none = NULL;
  double focus;
  unsigned char sharpness;
  Check(VobrexInit() == 1, "VobrexInit brings the library up");
  SetResolution(40, 2);
  GetImageSize(&width, &height, &bytes);
  Check(width == 848 && height == 640 && bytes == 848 * 640 * 3, "code 40 sub-mode 2 is 848 x 640");
  Check(SetOrientation(3) == 0, "orientation 3 is refused");
  sharpness = GetSharpness();
  focus = FocusIndication();
  Check(focus == focus, "the focus indication is a number");
  semi = WbSemiFactors();
  Check(semi != NULL && semi[0] == -1 && semi[6] == -1, "semi-automatic reference unmeasured");
  free(semi); /* the same C runtime as the library's */
  Check(ReadCamImage(&none) == 0 && none == NULL, "ReadCamImage refuses a null handle");
  Check(VobrexExit() == 1, "VobrexExit");
  if (failures == 0) printf("import library: all calls reached (sharpness %u)\n", sharpness);
  return failures == 0 ? 0 : 1;
}
