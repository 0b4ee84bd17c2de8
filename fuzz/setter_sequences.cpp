// Arbitrary sequences of setter calls, with conversions among them, on one
// context: the settings a caller can reach through the setters alone (and
// through partial edits of a copied-out record), and the state the
// conversions keep between frames.
//
// Input: a list of operations, each an operation byte and its arguments.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "capture/sharpening.h"
#include "harness.h"
#include "platform/cpu_features.h"
#include "settings/camera.h"

using namespace vobrex;

namespace {

// Conversions per input: each costs up to a full still conversion.
constexpr int kMaxConversions = 3;

// An option letter: mostly one of 'e'..'w' (the option letters and their
// neighbours), sometimes any signed byte.
int Letter(fuzz::Input& in) {
  const uint8_t b = in.Byte();
  if (b < 0xC0) return 'e' + b % 19;
  return static_cast<int8_t>(in.Byte());
}

// A white-balance factor: a telling value from a short list, or any double.
double Factor(fuzz::Input& in) {
  static constexpr double kValues[] = {1.0,
                                       0.5,
                                       2.0,
                                       0.0,
                                       -1.0,
                                       1.0000001,
                                       1e300,
                                       std::numeric_limits<double>::infinity(),
                                       std::numeric_limits<double>::quiet_NaN()};
  const uint8_t b = in.Byte();
  if (b < sizeof kValues / sizeof kValues[0]) return kValues[b];
  return in.Double();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  fuzz::Input in(data, size);
  fuzz::ManualClock clock;
  Camera cam;
  clock.Attach(cam);
  SetSimdLevel(SupportedSimdLevel());
  int conversions = 0;

  while (!in.Empty()) {
    switch (in.Byte() % 18) {
      case 0: {
        const int32_t code = in.I32();
        SetResolution(cam, code, in.I32());
        break;
      }
      case 1: SetMotionResolution(cam, in.I32()); break;
      case 2: {
        const int letter = Letter(in);
        SetOption(cam, letter, in.I32());
        break;
      }
      case 3: SetOrientation(cam, in.I32()); break;
      case 4: {
        const double r = Factor(in);
        const double g = Factor(in);
        SetWbFactors(cam, r, g, Factor(in));
        break;
      }
      case 5: {
        const int32_t sharpen = in.I32();
        SetFocusFactors(cam, sharpen, in.I32());
        break;
      }
      case 6: {
        int32_t v[6];
        for (int32_t& x : v) x = in.I32();
        SetCBFactors(cam, v[0], v[1], v[2], v[3], v[4], v[5]);
        break;
      }
      case 7: {
        const int32_t x = in.I32();
        SetFocusCoord(cam, x, in.I32());
        break;
      }
      case 8: std::free(WbSemiFactors(cam)); break;
      case 9: {
        int32_t factors[7];
        for (int32_t& f : factors) f = in.I32();
        WbSemiFactorsRestore(cam, factors);
        break;
      }
      case 10: {
        const uint16_t r = in.U16();
        const uint16_t g = in.U16();
        SetRGBratio(cam, r, g, in.U16());
        break;
      }
      case 11: {
        int r, g, b;
        GetRGBratio(cam, &r, &g, &b);
        int w, h, bytes;
        GetImageSize(cam, &w, &h, &bytes);
        break;
      }
      case 12: {
        const int32_t channel = in.I32();
        AdjustColorGain(cam, channel, in.I32());
        break;
      }
      case 13: SetSharpnessLevel(cam, in.Byte()); break;  // levels are 0..255
      case 14: {
        // GetModes, a few bytes edited, SetModes.
        CameraModes record = cam.modes;
        const std::size_t offset = in.Byte() % sizeof record;
        const std::size_t count = in.Byte() % 9;
        in.Overlay(reinterpret_cast<uint8_t*>(&record) + offset,
                   offset + count <= sizeof record ? count : sizeof record - offset);
        fuzz::FoldImageBytes(record);
        cam.modes = record;
        break;
      }
      case 15: clock.now += in.U16(); break;
      case 16: {
        const uint8_t entry = in.Byte();
        fuzz::FramePattern pattern;
        pattern.kind = in.Byte();
        const auto vfwCode = static_cast<int8_t>(in.Byte());
        if (conversions++ >= kMaxConversions) break;
        fuzz::RunEntryPoint(cam, static_cast<fuzz::EntryPoint>(entry % fuzz::kEntryPointCount),
                            pattern, vfwCode);
        break;
      }
      default:
        // The vector paths or the portable code for the conversions that follow.
        SetSimdLevel(in.Byte() & 1 ? SupportedSimdLevel() : SimdLevel::kScalar);
        break;
    }
  }
  return 0;
}
