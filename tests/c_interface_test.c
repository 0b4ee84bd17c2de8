/* The C interface from C: the header compiles as C, the shared library links,
 * and a few calls behave through it as a C caller sees them. */
#include <stdio.h>
#include <stdlib.h>

#include "vobrex32.h"

static int failures = 0;

static void check(int ok, const char* what) {
  if (!ok) {
    fprintf(stderr, "FAILED: %s\n", what);
    ++failures;
  }
}

int main(void) {
  CameraModes modes;
  int width = 0, height = 0, bytes = 0;
  int* semi;

  check(GetImageSize(&width, &height, &bytes) == 0, "calls before VobrexInit return 0");
  check(VobrexInit() == 1, "first VobrexInit returns 1");
  check(VobrexInit() == 0, "second VobrexInit returns 0");

  GetModes(&modes);
  check(modes.width == 640 && modes.height == 480 && modes.imageBytes == 921600, "default size");
  check(modes.framing == '3', "default framing");

  SetMotionResolution(51);
  GetImageSize(&width, &height, &bytes);
  check(width == 640 && height == 480 && bytes == 921600, "motion mode 51 is 640 x 480");

  SetResolution(40, 2);
  GetImageSize(&width, &height, &bytes);
  check(width == 848 && height == 640, "code 40 sub-mode 2 is 848 x 640");

  SetOption('t', 255);
  GetModes(&modes);
  check(modes.wbOnly == -1, "option t stores a signed byte");

  semi = WbSemiFactors();
  check(semi != NULL && semi[0] == -1 && semi[6] == -1, "semi factors start unmeasured");
  free(semi);

  check(GetSharpness() == 0, "sharpness reads the record");
  check(VobrexExit() == 1, "VobrexExit returns 1");
  check(VobrexInit() == 1, "VobrexInit starts afresh after VobrexExit");
  check(VobrexExit() == 1, "second VobrexExit returns 1");

  if (failures == 0) printf("c interface: all checks passed\n");
  return failures == 0 ? 0 : 1;
}
