// vobrex: the library's command-line tool. For now it shows the library's
// defaults and the geometry of every resolution code.
#include <cstdio>
#include <cstring>

#include "settings/camera.h"

namespace {

void PrintGeometry() {
  std::printf("%-6s %-9s %-11s %-11s %s\n", "code", "sub-mode", "size", "image bytes", "raw samples");
  struct Row {
    int code;
    int subMode;
  };
  const Row rows[] = {{0, 51}, {0, 52}, {0, 58}, {0, 0},  {0, 53}, {0, 54}, {0, 57}, {0, 1},
                      {0, 55}, {0, 2},  {0, 56}, {13, 0}, {13, 1}, {13, 2}, {23, 0}, {23, 1},
                      {23, 2}, {40, 0}, {40, 1}, {40, 2}};
  for (const Row& row : rows) {
    vobrex::Camera cam;
    if (row.code == 0) {
      vobrex::SetMotionResolution(cam, row.subMode);
    } else {
      vobrex::SetResolution(cam, row.code, row.subMode);
    }
    char size[32];
    std::snprintf(size, sizeof size, "%d x %d", cam.modes.width, cam.modes.height);
    std::printf("%-6d %-9d %-11s %-11u %u\n", row.code, row.subMode, size, cam.modes.imageBytes,
                cam.sampleCount.rawSampleCount);
  }
}

void PrintDefaults() {
  const vobrex::Camera cam;
  const CameraModes& m = cam.modes;
  std::printf("resolution %d, sensorMode %d, outputFormat %d, framing '%c'\n", m.resolution,
              m.sensorMode, m.outputFormat, m.framing);
  std::printf("width %d, height %d, imageBytes %u\n", m.width, m.height, m.imageBytes);
  std::printf("wbMode %d, ratios %d/%d/%d, factors %.3f/%.3f/%.3f\n", m.wbMode, m.ratioR, m.ratioG,
              m.ratioB, m.wbFactorR, m.wbFactorG, m.wbFactorB);
  std::printf("tone: contrast %d, brightness %d, gamma %d, levels %d/%d/%d\n", m.contrast,
              m.brightness, m.gamma, m.toneLevel1, m.toneLevel2, m.toneLevel3);
  std::printf("sharpening: shift %d, divisor3 %d, divisor7 %d, coring %d\n", m.sharpShift,
              m.sharpDivisor3, m.sharpDivisor7, m.sharpCoring);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--help") == 0) {
    std::printf("usage: vobrex [info|demo]\n");
    return 0;
  }
  std::printf("vobrex %s\n\nDefaults\n", "0.1.0");
  PrintDefaults();
  std::printf("\nGeometry\n");
  PrintGeometry();
  return 0;
}
