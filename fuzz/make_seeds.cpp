// Writes the seed corpora of the fuzz targets: usage `fuzz_make_seeds DIR`
// writes DIR/<target>/<seed>. The records come from a context of the
// library itself, so the seeds follow its defaults.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "settings/camera.h"

using namespace vobrex;
using Bytes = std::vector<uint8_t>;

namespace {

std::filesystem::path outDir;

void Write(const std::string& target, const std::string& name, const Bytes& bytes) {
  const auto dir = outDir / target;
  std::filesystem::create_directories(dir);
  FILE* f = std::fopen((dir / name).c_str(), "wb");
  if (f == nullptr) return;
  std::fwrite(bytes.data(), 1, bytes.size(), f);
  std::fclose(f);
}

void Put32(Bytes& b, uint32_t v) {
  for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

// Entry bytes: bit 0 picks the entry point of the target's family, bit 2
// asks for a second call. setter_sequences takes the byte modulo 4.
enum Entry : uint8_t { kVx = 0, kPreview = 1, kCam = 2, kVfw = 3, kTwice = 4 };
enum ChosenBy : uint8_t { kNone = 0, kResolution = 1, kMotion = 2 };
// Frame byte: a textured frame, converted on the vector paths and again on
// the portable code for comparison.
constexpr uint8_t kTextureBothPaths = 0x11;

// A record_preview or record_still input: header, the record after the
// resolution call and the edits, and a few frame bytes.
void RecordSeed(const std::string& name, uint8_t entry, uint8_t chosenBy, int code, int subMode,
                int vfwCode, void (*edit)(Camera&) = nullptr,
                uint8_t frameKind = kTextureBothPaths) {
  Camera cam;
  if (chosenBy == kResolution) SetResolution(cam, code, subMode);
  if (chosenBy == kMotion) SetMotionResolution(cam, subMode);
  if (edit != nullptr) edit(cam);
  const uint16_t clockStep = 1001;
  Bytes b = {entry, chosenBy, static_cast<uint8_t>(code), static_cast<uint8_t>(subMode)};
  b.push_back(static_cast<uint8_t>(vfwCode));
  b.push_back(static_cast<uint8_t>(clockStep));
  b.push_back(static_cast<uint8_t>(clockStep >> 8));
  b.push_back(frameKind);
  const auto* record = reinterpret_cast<const uint8_t*>(&cam.modes);
  b.insert(b.end(), record, record + sizeof cam.modes);
  for (int i = 0; i < 16; ++i) b.push_back(static_cast<uint8_t>(37 * i + 11));
  const bool still = (entry & 3) >= kCam;
  Write(still ? "record_still" : "record_preview", name, b);
}

void RecordSeeds() {
  RecordSeed("default-vx", kVx, kNone, 0, 0, 0);
  RecordSeed("default-preview-image", kPreview, kNone, 0, 0, 0);
  RecordSeed("default-cam-image", kCam, kNone, 0, 0, 0);
  RecordSeed("default-vfw", kVfw, kNone, 0, 0, 13);
  // Preview read-outs, raw-domain balance and image-domain estimate.
  for (int sub : {51, 0, 1, 2, 54, 57}) {
    RecordSeed("motion" + std::to_string(sub) + "-vx", kVx | kTwice, kMotion, 0, sub, 0);
  }
  RecordSeed("motion1-preview-image", kPreview | kTwice, kMotion, 0, 1, 0);
  RecordSeed("motion51-grey-manual", kVx, kMotion, 0, 51, 0, [](Camera& cam) {
    SetOption(cam, 'l', 0);
    SetOption(cam, 'h', 0);
    SetWbFactors(cam, 1.5, 1.0, 0.75);
    SetOption(cam, 'i', 1);
    SetOption(cam, 'r', 1);
  });
  RecordSeed("motion0-sharpen-tone", kPreview, kMotion, 0, 0, 0, [](Camera& cam) {
    SetOption(cam, 'h', 0);
    SetFocusFactors(cam, 1, 0);
    SetCBFactors(cam, -100, 20, 150, 3, 1, 1);
  });
  // Stills of every path, plain and with every post stage.
  struct Still {
    int code, subMode;
  };
  for (Still s : {Still{13, 0}, Still{13, 1}, Still{13, 2}, Still{23, 0}, Still{40, 0},
                  Still{40, 1}, Still{40, 2}}) {
    const std::string tag = std::to_string(s.code) + "-" + std::to_string(s.subMode);
    RecordSeed("still" + tag + "-cam-image", kCam, kResolution, s.code, s.subMode, 0);
    RecordSeed("still" + tag + "-vfw", kVfw, kResolution, s.code, s.subMode, s.code);
  }
  RecordSeed("still13-everything", kCam | kTwice, kResolution, 13, 0, 0, [](Camera& cam) {
    SetFocusFactors(cam, 1, 1);
    SetOption(cam, 'i', 1);
    SetOption(cam, 'v', 1);
    SetCBFactors(cam, 50, -30, 80, 1, 2, 1);
  });
  RecordSeed("still40-filters", kCam, kResolution, 40, 0, 0, [](Camera& cam) {
    SetFocusFactors(cam, 1, 0);
    SetOption(cam, 'u', 1);
    SetOption(cam, 'h', 2);
  });
  RecordSeed("still23-grey", kCam, kResolution, 23, 1, 0, [](Camera& cam) {
    SetOption(cam, 'l', 2);
    SetOption(cam, 'k', 52);
  });
  RecordSeed("still13-sharpen-shift", kVfw, kResolution, 13, 0, 13, [](Camera& cam) {
    SetOption(cam, 'p', 1);
    SetOption(cam, 'h', 0);
  });
  // Records no setter makes: sizes that disagree with imageBytes, odd byte
  // counts, unknown sub-modes, framings and output formats, huge counts.
  RecordSeed("motion51-odd-size-sharpen", kVx, kMotion, 0, 51, 0, [](Camera& cam) {
    SetOption(cam, 'h', 0);
    SetFocusFactors(cam, 1, 0);
    SetCBFactors(cam, 10, 0, 100, 1, 1, 1);
    cam.modes.width = 641;
    cam.modes.height = 32767;
    cam.modes.imageBytes = 640 * 480 * 3 + 1;
  });
  RecordSeed("motion0-unknown-framing", kPreview, kMotion, 0, 0, 0, [](Camera& cam) {
    cam.modes.framing = 'x';
    cam.modes.imageBytes = 39;
  });
  RecordSeed("motion54-format3-negative-size", kPreview, kMotion, 0, 54, 0, [](Camera& cam) {
    SetFocusFactors(cam, 1, 0);
    cam.modes.outputFormat = 3;
    cam.modes.width = -240;
    cam.modes.height = -180;
  });
  RecordSeed("motion51-huge-image", kVx, kMotion, 0, 51, 0,
             [](Camera& cam) { cam.modes.imageBytes = 0xFFFFFFF0u; });
  RecordSeed("still13-unknown-submode", kCam, kResolution, 13, 2, 0,
             [](Camera& cam) { cam.modes.sensorMode = 7; });
  RecordSeed("still40-unknown-submode-vfw", kVfw, kResolution, 40, 1, 40, [](Camera& cam) {
    cam.modes.sensorMode = 9;
    SetFocusFactors(cam, 1, 0);
  });
  RecordSeed("still13-size-mismatch", kCam, kResolution, 13, 0, 0, [](Camera& cam) {
    SetFocusFactors(cam, 1, 1);
    SetOption(cam, 'u', 1);
    cam.modes.width = 1260;
    cam.modes.height = 960;
  });
  RecordSeed("still23-format3", kVfw, kResolution, 23, 0, 23,
             [](Camera& cam) { cam.modes.outputFormat = 3; });
  RecordSeed("still13-huge-image", kVfw, kResolution, 13, 0, 13,
             [](Camera& cam) { cam.modes.imageBytes = 0xFFFFFFF0u; });
  // A record copied in with a code whose sample count was never set.
  RecordSeed("still11-via-record", kCam, kNone, 0, 0, 0,
             [](Camera& cam) { cam.modes.resolution = 11; });
  RecordSeed("still40-via-record", kCam, kNone, 0, 0, 0,
             [](Camera& cam) { cam.modes.resolution = 40; });
}

// setter_sequences operations (the operation byte is taken modulo 18).
enum Op : uint8_t {
  kSetResolution = 0,
  kSetMotionResolution = 1,
  kSetOption = 2,
  kSetOrientation = 3,
  kSetWbFactors = 4,
  kSetFocusFactors = 5,
  kSetCBFactors = 6,
  kSetFocusCoord = 7,
  kWbSemiFactors = 8,
  kWbSemiFactorsRestore = 9,
  kSetRGBratio = 10,
  kGetters = 11,
  kAdjustColorGain = 12,
  kSharpnessLevel = 13,
  kEditRecord = 14,
  kClock = 15,
  kConvert = 16,
  kSimdLevel = 17,
};

struct Sequence {
  Bytes b;
  Sequence& Op(uint8_t op) {
    b.push_back(op);
    return *this;
  }
  Sequence& I32(int32_t v) {
    Put32(b, static_cast<uint32_t>(v));
    return *this;
  }
  Sequence& Byte(uint8_t v) {
    b.push_back(v);
    return *this;
  }
  Sequence& Option(char letter, int32_t value) {
    return Op(kSetOption).Byte(static_cast<uint8_t>(letter - 'e')).I32(value);
  }
  Sequence& Convert(uint8_t entry, uint8_t frameKind, int vfwCode) {
    return Op(kConvert).Byte(entry).Byte(frameKind).Byte(static_cast<uint8_t>(vfwCode));
  }
};

// One operation a line, as the target reads them.
// clang-format off
void SetterSeeds() {
  Write("setter_sequences", "still13",
        Sequence().Op(kSetResolution).I32(13).I32(0).Convert(kCam, 1, 0).b);
  Write("setter_sequences", "still40-vfw",
        Sequence().Op(kSetResolution).I32(40).I32(1).Option('h', 0).Convert(kVfw, 3, 40).b);
  Write("setter_sequences", "still23-filters",
        Sequence()
            .Op(kSetResolution).I32(23).I32(2)
            .Op(kSetFocusFactors).I32(1).I32(1)
            .Option('u', 1)
            .Op(kSetCBFactors).I32(-50).I32(10).I32(120).I32(1).I32(4).I32(1)
            .Convert(kCam, 1, 0)
            .b);
  Write("setter_sequences", "preview-estimate",
        Sequence()
            .Op(kSetMotionResolution).I32(1)
            .Convert(kVx, 1, 0)
            .Op(kClock).Byte(0xEA).Byte(0x03)
            .Option('t', 1)
            .Convert(kVx, 3, 0)
            .Op(kSimdLevel).Byte(0)
            .Convert(kVx, 3, 0)
            .b);
  Write("setter_sequences", "preview-semi-target",
        Sequence()
            .Op(kSetMotionResolution).I32(51)
            .Option('h', 2)
            .Option('t', 1)
            .Op(kWbSemiFactorsRestore).I32(900).I32(1000).I32(800).I32(-1).I32(-1).I32(-1).I32(-1)
            .Convert(kPreview, 1, 0)
            .Op(kWbSemiFactors)
            .b);
  Write("setter_sequences", "preview-manual",
        Sequence()
            .Op(kSetMotionResolution).I32(0)
            .Option('h', 0)
            .Op(kSetWbFactors).Byte(1).Byte(0).Byte(2)
            .Op(kSetOrientation).I32(4)
            .Op(kSetFocusCoord).I32(1000).I32(-3)
            .Option('r', 1)
            .Convert(kVx, 1, 0)
            .b);
  Write("setter_sequences", "ratios-and-gains",
        Sequence()
            .Op(kSetRGBratio).Byte(0).Byte(0).Byte(100).Byte(0).Byte(0xE8).Byte(0x03)
            .Op(kAdjustColorGain).I32(2).I32(80)
            .Op(kGetters)
            .Op(kSharpnessLevel).I32(255)
            .Op(kEditRecord).Byte(4).Byte(4).I32(100)
            .Convert(kVfw, 2, 13)
            .b);
}
// clang-format on

void ToneSeed(const std::string& name, int32_t contrast, int32_t brightness, int32_t gamma,
              int32_t l1, int32_t l2, int32_t l3) {
  Bytes b;
  for (int32_t v : {contrast, brightness, gamma, l1, l2, l3}) Put32(b, static_cast<uint32_t>(v));
  for (int i = 0; i < 31; ++i) b.push_back(static_cast<uint8_t>(i * 8 + 3));  // not whole pixels
  Write("tone_curve", name, b);
}

void ToneSeeds() {
  ToneSeed("neutral", 0, 0, 100, 1, 1, 1);
  ToneSeed("compress", -100, 0, 100, 1, 1, 1);
  ToneSeed("threshold", 500, 0, 100, 1, 1, 1);
  ToneSeed("gamma", 0, 0, 200, 1, 1, 1);
  ToneSeed("levels", 0, 0, 100, 2, 1, 254);
  ToneSeed("everything", 120, -40, 60, 10, 20, 30);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
    return 2;
  }
  outDir = argv[1];
  RecordSeeds();
  SetterSeeds();
  ToneSeeds();
  return 0;
}
