// Golden checksums of every conversion path: the output bytes (and, where a
// path keeps state or rewrites its input, that too) of fixed synthetic frames
// under the main settings, hashed with 64-bit FNV-1a and compared with the
// values recorded from the straightforward implementation of each stage, kept
// in tests/golden/checksums.txt. Every speed-up of a stage must leave them all
// unchanged. VOBREX_GOLDEN_PRINT=1 prints the table in that file's format
// (see its header for how to re-record after a deliberate change).
#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "capture/preview_entry.h"
#include "capture/sample_buffers.h"
#include "capture/sharpening.h"
#include "capture/still_entry.h"
#include "capture/still_filters.h"
#include "hires/exposure_assembly.h"
#include "hires/plane_completion.h"
#include "hires/work_grid.h"
#include "mosaic/hires_mosaic.h"
#include "mosaic/image.h"
#include "mosaic/preview_mosaic.h"
#include "mosaic/still_mosaic.h"
#include "platform/cpu_features.h"
#include "platform/memory.h"
#include "preview/preview_driver.h"
#include "preview/sensor_kernels.h"
#include "preview/tone_curve.h"
#include "preview/white_balance.h"
#include "settings/camera.h"
#include "settings/curve_tables.h"
#include "still/still_demosaic.h"
#include "still/widening.h"

#ifndef VOBREX_GOLDEN_FILE
#error "VOBREX_GOLDEN_FILE must name the checksum file (tests/golden/checksums.txt)"
#endif

namespace vobrex {
namespace {

using Bytes = std::vector<uint8_t>;
using Samples16 = std::vector<int16_t>;
using Tweak = std::function<void(Camera&)>;

template <class... Parts>
std::string Cat(const Parts&... parts) {
  std::ostringstream s;
  (s << ... << parts);
  return s.str();
}

// ---------------------------------------------------------------------------
// Hashing and the golden table.

class Fnv {
 public:
  void Raw(const void* data, std::size_t bytes) {
    const auto* p = static_cast<const uint8_t*>(data);
    for (std::size_t i = 0; i < bytes; ++i) hash_ = (hash_ ^ p[i]) * 0x100000001B3ull;
  }
  // Buffers by content, results as 64-bit values, a context by its record.
  template <class... Parts>
  void Add(const Parts&... parts) {
    (One(parts), ...);
  }
  uint64_t value() const { return hash_; }

 private:
  void One(const Bytes& v) { Raw(v.data(), v.size()); }
  void One(const Samples16& v) { Raw(v.data(), v.size() * 2); }
  void One(int64_t v) { Raw(&v, sizeof v); }
  void One(const Camera& cam) { Raw(&cam.modes, sizeof cam.modes); }
  uint64_t hash_ = 0xCBF29CE484222325ull;
};

bool Printing() {
  const char* v = std::getenv("VOBREX_GOLDEN_PRINT");
  return v != nullptr && v[0] == '1';
}

// The checksum file, read once: "name hexvalue" lines, '#' starts a comment
// line. Empty when the file cannot be read.
const std::map<std::string, uint64_t>& Golden() {
  static const auto table = [] {
    std::map<std::string, uint64_t> t;
    std::ifstream in(VOBREX_GOLDEN_FILE);
    for (std::string line, name, hex; std::getline(in, line);) {
      std::istringstream fields(line);
      if (fields >> name >> hex && name[0] != '#') t[name] = std::stoull(hex, nullptr, 16);
    }
    return t;
  }();
  return table;
}

// Checks (or prints) one named checksum.
void ExpectGolden(const std::string& name, uint64_t actual) {
  if (Printing()) {
    std::printf("%s %016" PRIX64 "\n", name.c_str(), actual);
    return;
  }
  ASSERT_FALSE(Golden().empty()) << "no checksums read from " VOBREX_GOLDEN_FILE;
  const auto it = Golden().find(name);
  ASSERT_NE(it, Golden().end()) << "no golden value recorded for " << name;
  EXPECT_EQ(it->second, actual) << name;
}

// Hashes what `body` adds, given a fresh context, and checks it under `name`.
void CheckGolden(const std::string& name, const std::function<void(Fnv&, Camera&)>& body) {
  Fnv h;
  Camera cam;
  body(h, cam);
  ExpectGolden(name, h.value());
}

// ---------------------------------------------------------------------------
// Frames: deterministic, built from integer arithmetic only.

uint32_t Next(uint32_t& s) {
  s ^= s << 13;
  s ^= s >> 17;
  s ^= s << 5;
  return s;
}

// Every byte value, with no structure.
Bytes NoiseFrame(std::size_t bytes, uint32_t seed) {
  Bytes f(bytes);
  for (uint8_t& b : f) b = static_cast<uint8_t>(Next(seed) >> 24);
  return f;
}

// Blocks of 512 x 512 samples (two fields of 256 lines): slow gradients with
// a little noise, dark sites at the same places in every block (so that the
// defect repair of multi-block codes finds them), and bands of pixel-pitch
// stripes that set off the pair smoothing of the still demosaic.
Bytes SmoothFrame(std::size_t bytes, uint32_t seed) {
  Bytes f(bytes);
  for (std::size_t i = 0; i < bytes; ++i) {
    const int x = static_cast<int>(i & 511);
    const int line = static_cast<int>((i >> 9) & 255);
    const int field = static_cast<int>((i >> 17) & 1);
    int v = 70 + x / 8 + line / 3 + field * 9 + static_cast<int>(Next(seed) >> 30);
    if (line >= 100 && line < 108 && x < 128) v = (x & 1) ? 40 : 200;  // bright even columns
    if (line >= 150 && line < 156 && x >= 256 && x < 320) v = (x & 1) ? 210 : 50;  // bright odd
    f[i] = static_cast<uint8_t>(std::clamp(v, 0, 255));
  }
  // Dark sites: field 0 at even columns, field 1 at odd columns.
  for (std::size_t block = 0; block < bytes / 262144; ++block) {
    for (int k = 0; k < 5; ++k) {
      const int line = 30 + 40 * k;
      const std::size_t f0 = block * 262144 + static_cast<std::size_t>(line) * 512 + 60 + 80 * k;
      const std::size_t f1 = f0 + 131072 + 1;
      f[f0] = static_cast<uint8_t>(f[f0] - 20);
      f[f1] = static_cast<uint8_t>(f[f1] - 15);
    }
  }
  return f;
}

// A test scene: gradients, a saturated red disc and a blue square (the
// colour-object rules), thin lines in both directions, a diagonal edge.
mosaic::Image Scene(int width, int height) {
  mosaic::Image img(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t* p = img.At(x, y);
      int r = 40 + 150 * x / width, g = 60 + 120 * y / height,
          b = 200 - 140 * (x + y) / (width + height);
      const int dx = x - width / 3, dy = y - height / 2, radius = height / 5;
      if (dx * dx + dy * dy < radius * radius) r = 235, g = 25, b = 30;
      if (x > 2 * width / 3 && x < 2 * width / 3 + height / 6 && y > height / 6 && y < height / 3)
        r = 20, g = 40, b = 230;
      if (x % 53 == 7) r = g = b = 250;
      if (y % 41 == 11) r = g = b = 15;
      if (x - y > width / 2 && x - y < width / 2 + 30) r = 220, g = 50, b = 40;
      p[0] = static_cast<uint8_t>(r);
      p[1] = static_cast<uint8_t>(g);
      p[2] = static_cast<uint8_t>(b);
    }
  }
  return img;
}

enum FrameKind { kNoise, kSmooth, kScene };
const FrameKind kKinds[3] = {kScene, kNoise, kSmooth};
const char* KindName(FrameKind k) {
  return k == kNoise ? "noise" : k == kSmooth ? "smooth" : "scene";
}

// Still and high-resolution frames come in the read-out's size; scenes are
// mosaicked for the layout that size implies.
Bytes StillFrame(FrameKind kind, std::size_t bytes, uint32_t seed) {
  Bytes f = kind == kNoise     ? NoiseFrame(bytes, seed)
            : kind == kSmooth  ? SmoothFrame(bytes, seed)
            : bytes == 1048576 ? mosaic::HiresMosaic(Scene(1012, 960))
                               : mosaic::StillMosaic(Scene(640, 480), bytes == 524288 ? 23 : 13);
  f.resize(bytes, 0);
  return f;
}
Bytes PreviewFrame(FrameKind kind, int sensorMode, uint32_t seed) {
  return kind == kScene ? mosaic::PreviewMosaic(Scene(320, 240), sensorMode)
                        : StillFrame(kind, 262144, seed);
}

void SetOrientationCode(Camera& cam, int code) {
  cam.modes.mirror = (code == 1 || code == 3) ? 1 : 0;
  cam.modes.flip = (code == 3 || code == 4) ? 1 : 0;
}

// Settings changes for the cases below; `+` applies them in order.
Tweak operator+(Tweak a, Tweak b) {
  return [=](Camera& cam) { a(cam), b(cam); };
}
const auto Option = [](char o) -> Tweak { return [=](Camera& c) { SetOption(c, o, 1); }; };
const auto Focus = [](int s, int d) -> Tweak {
  return [=](Camera& c) { SetFocusFactors(c, s, d); };
};
Tweak Factors(double r, double g, double b) {
  return [=](Camera& cam) { SetWbFactors(cam, r, g, b); };
}
Tweak Tone(int c, int b, int g, int l1, int l2, int l3) {
  return [=](Camera& cam) { SetCBFactors(cam, c, b, g, l1, l2, l3); };
}
// A record field written directly, as a caller's whole record may hold it.
template <class T>
Tweak Set(T CameraModes::*field, int value) {
  return [=](Camera& cam) { cam.modes.*field = static_cast<T>(value); };
}

HGLOBAL BlockOf(const Bytes& bytes) {
  HGLOBAL block = GlobalBlockAlloc(0x2042, bytes.size());
  std::memcpy(GlobalBlockLock(block), bytes.data(), bytes.size());
  GlobalBlockUnlock(block);
  return block;
}
// Hashes the first `bytes` of a block, then frees it.
void AddAndFree(Fnv& h, HGLOBAL block, std::size_t bytes) {
  h.Raw(GlobalBlockLock(block), bytes);
  GlobalBlockUnlock(block);
  GlobalBlockFree(block);
}

// ---------------------------------------------------------------------------
// Preview sequences: several frames on one context, on a clock that moves
// 600 ms a frame, so that the one-second gate of the automatic gains opens
// on some frames and not on others, and the ratio tables of the raw-domain
// balance are both rebuilt and reused.

struct PreviewCase {
  int sensorMode = 51, outputFormat = 1, wbMode = 1, orientation = 2, frames = 4;
  Tweak tweak = nullptr;
};

uint64_t RunPreview(const PreviewCase& c, bool exported = false) {
  Camera cam;
  uint32_t now = 700;
  cam.SetClock([&now] { return now; });
  SetMotionResolution(cam, c.sensorMode);
  cam.modes.outputFormat = static_cast<uint8_t>(c.outputFormat);
  cam.modes.wbMode = c.wbMode;
  SetOrientationCode(cam, c.orientation);
  if (c.tweak) c.tweak(cam);
  Fnv h;
  for (int k = 0; k < c.frames; ++k) {
    now += 600;
    Bytes raw = PreviewFrame(kKinds[k % 3], c.sensorMode, 1000u + static_cast<uint32_t>(k));
    Bytes rgb(std::max<std::size_t>(cam.modes.imageBytes, 1), 0x5A);
    h.Add(exported ? VX_CCDtoRGB(cam, raw.data(), rgb.data())
                   : ConvertPreviewFrame(cam, raw.data(), rgb.data()),
          rgb, raw, cam);
  }
  h.Raw(cam.preview.gainTableR, sizeof cam.preview.gainTableR);
  h.Raw(cam.preview.gainTableG, sizeof cam.preview.gainTableG);
  h.Raw(cam.preview.gainTableB, sizeof cam.preview.gainTableB);
  return h.value();
}

// Every sensor mode x output format x balance mode, orientation cycling
// through 1..4; `keep` picks the cases to run.
void PreviewMatrix(const std::function<bool(int mode, int format, int wb)>& keep) {
  int index = 0;
  for (int mode : {0, 1, 2, 51, 52, 53, 54, 55, 56, 57, 58}) {
    for (int format : {0, 1, 2, 3}) {
      for (int wb : {0, 1, 2}) {
        const int o = 1 + index++ % 4;
        if (!keep(mode, format, wb)) continue;
        ExpectGolden(Cat("preview/m", mode, "/f", format, "/wb", wb, "/o", o),
                     RunPreview({mode, format, wb, o}));
      }
    }
  }
}

TEST(Golden, PreviewModesFormatsAndBalance) {
  PreviewMatrix([](int, int, int) { return true; });
}

TEST(Golden, PreviewOrientations) {
  for (int mode : {0, 1, 2, 51, 54, 57})
    for (int o = 1; o <= 4; ++o)
      for (int format : {0, 1})
        ExpectGolden(Cat("preview-orient/m", mode, "/f", format, "/o", o),
                     RunPreview({mode, format, 1, o, 2}));
  // Orientation codes outside 1..4 can only come from a whole record.
  for (int mode : {0, 51})
    ExpectGolden(Cat("preview-orient/m", mode, "/odd-flags"),
                 RunPreview({mode, 1, 1, 2, 1, Set(&CameraModes::mirror, 7)}));
}

TEST(Golden, PreviewSettings) {
  const Tweak gain4 = [](Camera& cam) {
    cam.modes.gainTable = 4;
    BuildPositionGainTable(cam.positionGain.get(), 4);
  };
  const Tweak restore = [](Camera& cam) {
    const int32_t f[7] = {30000, 32000, 28000, 400000, 380000, 300000, 3172};
    WbSemiFactorsRestore(cam, f);
  };
  const Tweak focusAt = [](Camera& cam) { SetFocusCoord(cam, 200, 150); };
  const std::vector<std::tuple<const char*, int, Tweak>> settings = {
      {"factors", 0, Factors(1.3, 0.85, 1.1)},
      {"factors-wb2", 2, Factors(1.2, 1.0, 0.7)},
      {"wbextra", 0, Option('i')},
      {"wbextra-gain4", 0, Option('i') + gain4},
      {"wbextra-auto", 1, Option('i')},
      {"wbonly", 1, Set(&CameraModes::wbOnly, 1)},
      {"wbonly-semi", 2, Set(&CameraModes::wbOnly, 1)},
      {"gainadjust", 1, Set(&CameraModes::gainAdjust, 1) + Option('i')},
      {"wbstatus", 1, Set(&CameraModes::wbStatus, 2)},
      {"semi-restore", 2, restore},
      {"sharpen", 0, Focus(1, 0)},
      {"sharpen-auto", 1, Focus(1, 0)},
      {"tone", 1, Tone(40, -30, 130, 4, 1, 2)},
      {"tone-compress", 0, Tone(-120, 25, 80, 1, 1, 1)},
      {"tone-gamma", 2, Tone(0, 0, 55, 1, 1, 1)},
      {"focus", 1, Option('r') + focusAt},
      {"wide57", 0, Option('p')}};
  for (const auto& [name, wb, tweak] : settings)
    for (int mode : {51, 1, 0, 57, 2, 54})
      ExpectGolden(Cat("preview-settings/", name, "/m", mode),
                   RunPreview({mode, 1, wb, 1 + mode % 4, 6, tweak}));
}

TEST(Golden, PreviewEntryPoints) {
  ExpectGolden("vx-ccdtorgb/m51", RunPreview({.frames = 2}, true));
  for (char framing : {'2', '3', '4'}) {
    CheckGolden(Cat("read-preview-image/framing", framing), [&](Fnv& h, Camera& cam) {
      cam.SetClock([] { return 4000u; });
      SetMotionResolution(cam, 0);
      cam.modes.framing = static_cast<uint8_t>(framing);
      HGLOBAL raw = BlockOf(PreviewFrame(kScene, 0, 1));
      const std::size_t blockBytes = 54 + cam.modes.imageBytes;
      HGLOBAL image = GlobalBlockAlloc(0x2042, blockBytes);
      h.Add(ReadPreviewImage(cam, &image, &raw));
      AddAndFree(h, image, blockBytes);
      GlobalBlockFree(raw);
    });
  }
}

// ---------------------------------------------------------------------------
// Stills: the still core (ConvertCamFrame) of codes 13 and 23 (and 11, 21),
// code 40, ReadCamImage and GetVFWImage.

struct StillCase {
  int code = 13, subMode = 0, outputFormat = 1, optionQ = 1, wbMode = 1, orientation = 2;
  FrameKind frame = kScene;
  Tweak tweak = nullptr;
};

uint64_t RunStill(const StillCase& c) {
  Camera cam;
  cam.modes.outputFormat = static_cast<uint8_t>(c.outputFormat);
  SetResolution(cam, c.code == 11 ? 13 : c.code == 21 ? 23 : c.code, c.subMode);
  cam.modes.optionQ = static_cast<uint8_t>(c.optionQ);
  cam.modes.wbMode = c.wbMode;
  SetOrientationCode(cam, c.orientation);
  if (c.tweak) c.tweak(cam);
  const Bytes raw = StillFrame(c.frame, cam.sampleCount.rawSampleCount, 77);
  Bytes out(54 + std::size_t{cam.modes.imageBytes} + 16, 0x33);
  Fnv h;
  h.Add(ConvertCamFrame(cam, raw.data(), out.data(), c.code), out, cam);
  return h.value();
}

TEST(Golden, StillCodesSizesFormatsAndBalance) {
  int index = 0;
  for (int code : {13, 23}) {
    for (int sub : {0, 1, 2}) {
      for (int content = 0; content < 4; ++content) {
        for (int wb : {0, 1, 2}) {
          const int format = content == 0 ? 1 : content == 3 ? 2 : 0, q = content == 1 ? 1 : 0;
          const int o = 1 + index % 4;
          const FrameKind kind = kKinds[index++ % 3];
          ExpectGolden(Cat("still/c", code, "/s", sub, "/f", format, "q", q, "/wb", wb, "/o", o,
                           "/", KindName(kind)),
                       RunStill({code, sub, format, q, wb, o, kind}));
        }
      }
    }
  }
}

// Each size and format in orientations 1, 1 + step, ... up to 4.
void StillOrientations(int step) {
  for (int sub : {0, 1, 2})
    for (int format : {1, 2, 0})
      for (int o = 1; o <= 4; o += step)
        ExpectGolden(Cat("still-orient/s", sub, "/f", format, "/o", o),
                     RunStill({13, sub, format, 0, 1, o}));
}

TEST(Golden, StillOrientations) { StillOrientations(1); }

TEST(Golden, StillSettings) {
  const Tweak ratios = [](Camera& cam) { SetRGBratio(cam, 90, 400, 33); };
  const Tweak strong = [](Camera& cam) { SetSharpnessLevel(cam, 250); };
  const Tweak restore = [](Camera& cam) {
    const int32_t f[7] = {-1, -1, -1, 400000, 380000, 300000, 3172};
    WbSemiFactorsRestore(cam, f);
  };
  const Tweak grey = Set(&CameraModes::outputFormat, 2), pairs = Set(&CameraModes::optionV, 1);
  // name, code, sub-mode, balance mode, frame, settings
  const std::vector<std::tuple<const char*, int, int, int, FrameKind, Tweak>> settings = {
      {"code11", 11, 0, 1, kScene, nullptr},
      {"code21", 21, 0, 1, kNoise, nullptr},
      {"factors", 13, 0, 0, kScene, Factors(1.3, 0.8, 1.1)},
      {"factors-big", 13, 1, 0, kNoise, Factors(3.7, 0.2, 80.5)},
      {"factors-wbextra", 13, 0, 0, kScene, Factors(1.3, 0.8, 1.1) + Option('i')},
      {"wbextra", 13, 2, 0, kSmooth, Option('i')},
      {"wbextra-auto", 23, 0, 1, kScene, Option('i')},
      {"semi-factors", 13, 0, 2, kScene, Factors(1.2, 1.0, 0.75)},
      {"semi-zero-factor", 13, 0, 2, kNoise, Factors(0.0, 1.0, 0.75)},
      {"semi-restore", 13, 1, 2, kScene, restore},
      {"wbonly", 13, 0, 1, kScene, Set(&CameraModes::wbOnly, 1)},
      {"wbonly-semi", 23, 0, 2, kScene, Set(&CameraModes::wbOnly, 1)},
      {"gainadjust", 13, 0, 1, kScene, Set(&CameraModes::gainAdjust, 1) + Option('i')},
      {"wbstatus3", 13, 0, 1, kNoise, Set(&CameraModes::wbStatus, 3)},
      {"ratios", 23, 1, 1, kSmooth, ratios},
      {"defects13", 13, 0, 1, kSmooth, Focus(0, 1)},
      {"defects23", 23, 0, 1, kSmooth, Focus(0, 1)},
      {"defects23-manual", 23, 2, 0, kSmooth, Focus(0, 1)},
      {"filter-full", 13, 0, 1, kScene, Option('u')},
      {"filter-full-smooth", 13, 0, 0, kSmooth, Option('u')},
      {"filter-full-sharpen", 13, 0, 1, kScene, Option('u') + Focus(1, 1)},
      {"filter-480", 13, 1, 1, kScene, Option('u')},
      {"filter-320-grey", 23, 2, 1, kScene, Option('u') + grey},
      {"sharpen", 13, 0, 1, kScene, Focus(1, 0)},
      {"sharpen-noise", 13, 1, 0, kNoise, Focus(1, 0)},
      {"sharpen-shift", 13, 2, 1, kScene, Focus(1, 0) + Option('p')},
      {"sharpen-strong", 23, 0, 1, kSmooth, Focus(1, 0) + strong},
      {"tone", 13, 0, 1, kScene, Tone(40, -30, 130, 4, 1, 2)},
      {"tone-compress", 13, 1, 0, kNoise, Tone(-120, 25, 80, 1, 1, 1)},
      {"tone-gamma", 23, 2, 2, kScene, Tone(0, 0, 55, 1, 1, 1)},
      {"pair-smoothing", 13, 0, 1, kSmooth, pairs},
      {"pair-smoothing-noise", 13, 1, 0, kNoise, pairs},
      {"submode-fallback", 13, 0, 1, kScene, Set(&CameraModes::sensorMode, 7)},
      {"submode-fallback-grey", 13, 0, 1, kScene, Set(&CameraModes::sensorMode, 9) + grey},
      {"format3", 13, 0, 1, kScene, Set(&CameraModes::outputFormat, 3)},
      {"everything", 23, 0, 2, kSmooth,
       Factors(1.1, 0.9, 1.2) + Option('i') + Focus(1, 1) + Tone(20, 10, 90, 2, 3, 1) + pairs}};
  for (const auto& [name, code, sub, wb, frame, tweak] : settings)
    ExpectGolden(Cat("still-settings/", name), RunStill({code, sub, 1, 1, wb, 2, frame, tweak}));
}

// The code-40 cases, by name; `keep` picks the ones to run.
void HighResolutionCases(const std::function<bool(const std::string&)>& keep) {
  const auto run = [&](const std::string& name, int sub, int format, int wb, int o, FrameKind frame,
                       Tweak tweak = nullptr) {
    if (keep("hires/" + name))
      ExpectGolden("hires/" + name, RunStill({40, sub, format, 1, wb, o, frame, tweak}));
  };
  int index = 0;
  for (int sub : {0, 1, 2}) {
    for (int format : {1, 0}) {
      const int o = 1 + index % 4;
      const FrameKind kind = index++ % 2 ? kNoise : kScene;
      run(Cat("s", sub, "/f", format, "/o", o, "/", KindName(kind)), sub, format, 1, o, kind);
    }
  }
  for (int o : {2, 3, 4}) run(Cat("orient/o", o), 0, 1, 1, o, kScene);
  run("orient-grey/o3", 2, 0, 1, 3, kScene);
  run("manual", 1, 1, 0, 2, kScene);
  run("semi", 2, 1, 2, 2, kSmooth, Factors(1.2, 1.0, 0.8));
  run("defects", 0, 1, 1, 2, kSmooth, Focus(0, 1));
  run("filter-sharpen7", 0, 1, 1, 2, kScene, Option('u') + Focus(1, 0));
  run("sharpen3-shift", 2, 1, 1, 2, kScene, Focus(1, 0) + Option('p'));
  run("sharpen7-noise", 1, 1, 0, 2, kNoise, Focus(1, 0));
  run("tone-wbextra", 1, 0, 1, 4, kScene, Tone(30, 0, 120, 1, 2, 1) + Option('i'));
  run("submode-fallback", 0, 1, 1, 2, kNoise, Set(&CameraModes::sensorMode, 5));
  run("format2", 0, 2, 1, 2, kNoise);
}

TEST(Golden, HighResolution) {
  HighResolutionCases([](const std::string&) { return true; });
}

TEST(Golden, ReadCamImageAndVideoFrames) {
  for (char framing : {'3', '4'}) {
    CheckGolden(Cat("read-cam-image/framing", framing), [&](Fnv& h, Camera& cam) {
      SetResolution(cam, 13, 1);
      cam.modes.framing = static_cast<uint8_t>(framing);
      HGLOBAL block = BlockOf(StillFrame(kScene, cam.sampleCount.rawSampleCount, 5));
      h.Add(ReadCamImage(cam, &block));
      AddAndFree(h, block, GlobalBlockSize(block));
    });
  }
  // name, code (0: none), sub-mode, wide range, shift sharpening
  for (const auto& [name, code, sub, wide, shift] :
       std::vector<std::tuple<const char*, int, int, int, int>>{{"c13-s0", 13, 0, 1, 0},
                                                                {"c13-s1-narrow", 13, 1, 0, 0},
                                                                {"c23-s2-shift", 23, 2, 1, 1},
                                                                {"c40-s0", 40, 0, 1, 0},
                                                                {"c40-s2-narrow", 40, 2, 0, 0},
                                                                {"c0", 0, 0, 1, 0}}) {
    CheckGolden(Cat("vfw/", name), [&](Fnv& h, Camera& cam) {
      SetResolution(cam, code == 0 ? 13 : code, sub);
      cam.modes.vfwWideRange = static_cast<uint8_t>(wide);
      cam.modes.sharpMode = static_cast<uint8_t>(shift);
      const Bytes frame = StillFrame(kScene, cam.sampleCount.rawSampleCount, 6);
      Bytes pixels(cam.modes.imageBytes, 0x44);
      h.Add(GetVFWImage(cam, frame.data(), pixels.data(), code), pixels, cam);
    });
  }
}

// ---------------------------------------------------------------------------
// Stages on their own, where the conversions above may not reach every
// branch: the table pass, white balance, colour gain, tone curve, the
// sharpening passes, the still filters, the still demosaic and the
// high-resolution plane preparation.

Samples16 Samples(std::size_t n, uint32_t seed, int low, int span) {
  Samples16 s(n);
  for (int16_t& v : s) v = static_cast<int16_t>(low + static_cast<int>(Next(seed) % span));
  return s;
}

// A packed image: random, or smooth with low noise and a saturated red area.
Bytes Image(int width, int height, bool smooth, uint32_t seed) {
  Bytes img(static_cast<std::size_t>(width) * height * 3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t* p = img.data() + (static_cast<std::size_t>(y) * width + x) * 3;
      for (int c = 0; c < 3; ++c) {
        int v = static_cast<int>(Next(seed) >> 24);
        if (smooth) {
          v = 60 + (x * (c + 1)) / 9 + y / 5 + static_cast<int>(v & 3);
          if (c == 2 && x < width / 4) v = 250 - (v & 1);
          if (c != 2 && x < width / 4) v = 20 + (v & 3);
          if ((x / 16 + y / 16) % 7 == 3) v = (v * 3) & 255;
        }
        p[c] = static_cast<uint8_t>(std::clamp(v, 0, 255));
      }
    }
  }
  return img;
}

int32_t Size32(const auto& v) { return static_cast<int32_t>(v.size()); }
Samples16 Expanded(const Bytes& raw) {
  Samples16 samples(raw.size());
  ExpandSamples(samples.data(), raw.data(), Size32(raw));
  return samples;
}

TEST(Golden, SampleTablePass) {
  for (int wb : {0, 1, 2, 3})
    CheckGolden(Cat("stage/map-samples/wb", wb), [&](Fnv& h, Camera& cam) {
      cam.modes.wbMode = wb;
      Samples16 a = Samples(100003, 9, -40000 / 2, 40000), b = a;
      MapSamples(cam, a.data(), Size32(a), kCurveTables.expandTable.data(), kExpandTableLength);
      MapSamples(cam, b.data(), Size32(b), kCurveTables.compressTable.data(), kCompressTableLength);
      Bytes narrow(b.size());
      NarrowSamples(narrow.data(), reinterpret_cast<const uint16_t*>(a.data()), Size32(a));
      h.Add(a, b, narrow, Expanded(NoiseFrame(70001, 3)));
    });
}

TEST(Golden, RawWhiteBalance) {
  for (int wb : {0, 1, 2})
    for (const auto& [r, g, b] : {std::tuple<uint16_t, uint16_t, uint16_t>{100, 100, 100},
                                  {1000, 570, 285},
                                  {300, 1000, 500},
                                  {200, 310, 1000}})
      for (int code : {10, 23, 40})
        CheckGolden(Cat("stage/raw-gains/wb", wb, "/", r, "-", g, "-", b, "/c", code),
                    [&](Fnv& h, Camera& cam) {
                      cam.modes.wbMode = wb;
                      SetRGBratio(cam, r, g, b);
                      SetWbFactors(cam, 1.15, 0.9, 1.05);
                      // A run of preview-like calls: the ratio tables are rebuilt on the
                      // first and the sixth and reused in between, while the levels move.
                      for (int k = 0; k < 7; ++k) {
                        Samples16 s = Samples(std::size_t{262144} * ResolutionScale(code), 40u + k,
                                              k == 3 ? -50 : 0, k == 3 ? 17000 : 1024);
                        cam.modes.ratioR = static_cast<uint16_t>(r + 13 * k);
                        h.Add(ApplyRawGains(cam, s.data(), code, k == 5 ? 1 : 0), s);
                      }
                      h.Add(cam);
                    });
  for (int gainTable : {0, 1, 3, 5, 9})
    CheckGolden(Cat("stage/position-gain/t", gainTable), [&](Fnv& h, Camera& cam) {
      cam.modes.gainTable = static_cast<uint8_t>(gainTable);
      BuildPositionGainTable(cam.positionGain.get(), gainTable);
      Bytes raw = NoiseFrame(262144 * 2, 11);
      ApplyPositionGain(cam, raw.data(), 23);
      Samples16 s = Samples(262144, 12, -300, 1400);
      ApplySamplePositionGain(cam, s.data(), 13);
      h.Add(raw, s);
    });
}

TEST(Golden, ColourGainAndImagePasses) {
  uint8_t tableR[1024], tableG[1024], tableB[1024];
  BuildGainTable(tableR, 900, 700);
  BuildGainTable(tableG, 900, 900);
  BuildGainTable(tableB, 900, 450);
  RemapGainTable(tableB);
  for (int wb : {0, 1, 2})
    for (int mode : {1, 2, 3, 5, 10})
      CheckGolden(Cat("stage/colour-gain/wb", wb, "/mode", mode), [&](Fnv& h, Camera& cam) {
        cam.modes.wbMode = wb;
        SetWbFactors(cam, 1.25, 0.95, 1.6);
        Bytes img = Image(321, 17, false, 21);
        ApplyColorGain(cam, img.data(), Size32(img) - 2, tableR, tableG, tableB, mode);
        h.Add(img);
      });
  CheckGolden("stage/sharpen-preview-and-byte-table", [](Fnv& h, Camera&) {
    Bytes img = Image(640, 480, false, 22), img2 = Image(161, 9, true, 23);
    Bytes img3 = Image(640, 48, false, 24);
    SharpenPreview(img.data(), 640, 480);
    SharpenPreview(img2.data(), 161, 9);
    ApplyByteTable(img3.data(), Size32(img3) - 5, kCurveTables.previewTable.data());
    h.Add(img, img2, img3);
  });
  const int tones[7][6] = {{0, 0, 100, 1, 1, 1},    {40, -30, 130, 4, 1, 2},
                           {-120, 25, 80, 1, 1, 1}, {500, 0, 100, 1, 1, 1},
                           {0, 60, 100, 1, 1, 1},   {-30, -200, 40, 250, 0, 1},
                           {0, 0, 0, 1, 1, 1}};
  for (int i = 0; i < 7; ++i)
    CheckGolden(Cat("stage/tone/", i), [&](Fnv& h, Camera& cam) {
      const int* t = tones[i];
      SetCBFactors(cam, t[0], t[1], t[2], t[3], t[4], t[5]);
      Bytes img = Image(97, 13, false, 30 + static_cast<uint32_t>(i));
      ApplyToneCurve(cam, img.data(), Size32(img) - 1);
      h.Add(img);
    });
}

TEST(Golden, SharpeningPasses) {
  // name, width, height, 7x7 (else 3x3), shift mode, level, smooth image
  for (const auto& [name, w, ht, seven, shift, level, smooth] :
       std::vector<std::tuple<const char*, int, int, bool, int, int, bool>>{
           {"s3-div", 640, 480, false, 0, 150, false},
           {"s3-div-smooth", 480, 360, false, 0, 40, true},
           {"s3-shift", 320, 240, false, 1, 230, false},
           {"s3-shift-smooth", 640, 480, false, 1, 100, true},
           {"s7-div", 1260, 960, true, 0, 150, false},
           {"s7-div-smooth", 848, 640, true, 0, 200, true},
           {"s7-div-soft", 1016, 768, true, 0, 10, true},
           {"s7-shift", 848, 640, true, 1, 20, false},
           {"s7-shift-smooth", 640, 480, true, 1, 0, true}})
    CheckGolden(Cat("stage/sharpen/", name), [&](Fnv& h, Camera& cam) {
      cam.modes.sharpMode = static_cast<uint8_t>(shift);
      SetSharpnessLevel(cam, level);
      Bytes img = Image(w, ht, smooth, 50);
      h.Add(seven ? Sharpen7(cam, img.data(), w, ht) : Sharpen3(cam, img.data(), w, ht), img);
    });
  // Odd corings and shifts straight from a record.
  for (int coring : {1, 3, 7, 18, 100})
    CheckGolden(Cat("stage/sharpen/coring", coring), [&](Fnv& h, Camera& cam) {
      cam.modes.sharpCoring = coring;
      cam.modes.sharpDivisor7 = 97 + coring;
      Bytes img = Image(640, 480, true, 51);
      Sharpen7(cam, img.data(), 640, 480);
      h.Add(img);
    });
}

TEST(Golden, StillFilterPasses) {
  for (bool smooth : {false, true})
    for (const auto& [w, ht] : {std::pair{640, 480}, std::pair{1260, 960}, std::pair{320, 240}})
      CheckGolden(Cat("stage/still-filters/", smooth ? "smooth/" : "noise/", w),
                  [&](Fnv& h, Camera&) {
                    Bytes a = Image(w, ht, smooth, 60), b = a, c = a;
                    h.Add(StillFilterA(a.data(), w, ht), StillFilterB(b.data(), w, ht),
                          StillFilterC(c.data(), w, ht), a, b, c);
                  });
}

TEST(Golden, StillDemosaic) {
  for (FrameKind kind : {kNoise, kSmooth, kScene})
    for (uint32_t optionV : {0u, 1u})
      CheckGolden(Cat("stage/still-demosaic/", KindName(kind), "/v", optionV),
                  [&](Fnv& h, Camera&) {
                    Samples16 samples = Expanded(StillFrame(kind, 262144, 90));
                    if (kind == kNoise) {
                      // Wide samples, as white balance leaves them, negative ones included.
                      for (std::size_t i = 0; i < samples.size(); i += 7)
                        samples[i] = static_cast<int16_t>(samples[i] * 37 - 900);
                    }
                    // Three 512 x 512 planes and one row of slack (the still planes' layout).
                    Samples16 planes(3 * 262144 + 512, 0);
                    DemosaicStill(samples.data(), planes.data(), optionV);
                    h.Raw(planes.data(), 3 * 262144 * 2);
                  });
}

TEST(Golden, HighResolutionPlanes) {
  for (FrameKind kind : {kNoise, kSmooth, kScene})
    for (bool level : {true, false})
      CheckGolden(Cat("stage/hires-planes/", KindName(kind), level ? "/levelled" : ""),
                  [&](Fnv& h, Camera&) {
                    const Samples16 samples = Expanded(StillFrame(kind, 1048576, 91));
                    Owned<int16_t> block = AllocateWorkGrid();
                    ASSERT_TRUE(block);
                    const WorkGrid grid = GridOf(block);
                    PlaceGreen(samples.data(), grid);
                    if (level) LevelLineBlocks(grid, kGreenSelector);
                    CompleteGreen(grid);
                    PlaceRed(samples.data(), grid);
                    PlaceBlue(samples.data(), grid);
                    FillRedRows(grid);
                    FillBlueRows(grid);
                    if (level)
                      LevelLineBlocks(grid, kBlueSelector), LevelLineBlocks(grid, kRedSelector);
                    CompleteRed(grid);
                    CompleteBlue(grid);
                    // The sites the resamplers read: rows 8..967, columns 2..1021.
                    for (int plane = 0; plane < 3; ++plane)
                      for (int row = 8; row <= 967; ++row) h.Raw(&grid.At(plane, row, 2), 2040);
                  });
}

// ---------------------------------------------------------------------------
// The vector paths: every processor path gives the golden bytes, and the
// integer and reciprocal forms that replace floating point or division in
// them equal the forms they replace.

// Runs `body` with the processor's paths capped at `level`.
template <class Body>
void AtSimdLevel(SimdLevel level, Body body) {
  const SimdLevel before = ActiveSimdLevel();
  SetSimdLevel(level);
  body();
  SetSimdLevel(before);
}

// The preview kernels, each orientation code (odd ones included), on a
// noise frame: the vector forms write the bytes of the scalar ones.
TEST(Golden, VectorKernelsMatchScalarKernels) {
  const Bytes raw = NoiseFrame(262144, 4242);
  for (const auto& [name, kernel, bytes] :
       std::vector<std::tuple<const char*, SensorKernel, int>>{{"A1", KernelA1, 230400},
                                                               {"A0", KernelA0, 230400},
                                                               {"B1", KernelB1, 57600},
                                                               {"B0", KernelB0, 57600},
                                                               {"C1", KernelC1, 14400},
                                                               {"C0", KernelC0, 14400},
                                                               {"D1", KernelD1, 921600},
                                                               {"D0", KernelD0, 921600},
                                                               {"E1", KernelE1, 129600},
                                                               {"E0", KernelE0, 129600},
                                                               {"F1", KernelF1, 76032},
                                                               {"F1Wide", KernelF1Wide, 76032}}) {
    for (int orientation = 0; orientation <= 6; ++orientation) {
      Bytes scalar(bytes, 0x11), vector(bytes, 0x11);
      AtSimdLevel(SimdLevel::kScalar, [&] { kernel(raw.data(), scalar.data(), orientation); });
      kernel(raw.data(), vector.data(), orientation);
      EXPECT_EQ(scalar, vector) << name << " orientation " << orientation;
    }
  }
}

// The portable path against the golden table: the preview in every mode,
// the stills in every size and content, the high-resolution sizes, and the
// stages that have vector forms.
TEST(Golden, PortablePathGivesTheGoldenBytes) {
  if (SupportedSimdLevel() == SimdLevel::kScalar) GTEST_SKIP() << "only the portable path here";
  if (Printing()) GTEST_SKIP() << "Printing: the other tests print every checksum once";
  AtSimdLevel(SimdLevel::kScalar, [] {
    PreviewMatrix(
        [](int mode, int format, int wb) { return format != 3 && (mode == 51 || wb != 2); });
    StillOrientations(3);
    HighResolutionCases([](const std::string& name) {
      return name == "hires/s0/f1/o1/scene" || name == "hires/s1/f0/o4/noise" ||
             name == "hires/s2/f1/o1/scene" || name == "hires/orient/o3";
    });
  });
}

// The stripe test of the still demosaic compares x > 2.25 y, x > 1.25 y and
// x > 1.5 y in double precision; its integer form compares 4x > 9y, 4x > 5y
// and 2x > 3y. Every pair of the samples' working range, and pairs spread
// over the whole 16-bit range.
TEST(Golden, StripeComparisonsHaveExactIntegerForms) {
  auto check = [](int x, int y) {
    ASSERT_EQ(x > 2.25 * y, 4 * x > 9 * y) << x << " " << y;
    ASSERT_EQ(x > 1.25 * y, 4 * x > 5 * y) << x << " " << y;
    ASSERT_EQ(x > 1.5 * y, 2 * x > 3 * y) << x << " " << y;
  };
  for (int x = -1100; x <= 1100; ++x)
    for (int y = -1100; y <= 1100; ++y) check(x, y);
  uint32_t seed = 99;
  for (int i = 0; i < 2000000; ++i)
    check(static_cast<int16_t>(Next(seed)), static_cast<int16_t>(Next(seed)));
}

// The widenings' single-precision divisions, for every value their
// weighted sums of 16-bit samples can take.
TEST(Golden, WideningDivisionIsExactOverItsRange) {
  for (int32_t x = -(1 << 18); x <= (1 << 18); ++x) ASSERT_EQ(WideningDivide(x, 5), x / 5) << x;
  for (int32_t x = -(1 << 19); x <= (1 << 19); ++x) ASSERT_EQ(WideningDivide(x, 15), x / 15) << x;
  for (int32_t x = -(1 << 21); x <= (1 << 21); ++x) ASSERT_EQ(WideningDivide(x, 45), x / 45) << x;
}

// The sharpening divides (s x 100) by a divisor from the record in double
// precision, truncating: the integer quotient for every s the kernels form
// and any divisor.
TEST(Golden, SharpeningQuotientsInDoubleAreExact) {
  std::vector<int32_t> divisors = {1,    -1,   2,     3,    7,       50,        332,      915,
                                   1600, 3000, 65535, -915, 1 << 20, INT32_MAX, INT32_MIN};
  for (int32_t d = 4; d < 4000; d += 13) divisors.push_back(d);
  for (int32_t d : divisors)
    for (int32_t x = -600000; x <= 600000; x += 100)
      ASSERT_EQ(static_cast<int32_t>(static_cast<double>(x) / d), x / d) << x << " / " << d;
}

// StillFilterC's floating-point limits against their integer forms, over
// every deviation and mean deviation of bytes.
TEST(Golden, FlatnessLimitsHaveExactIntegerForms) {
  for (int a = 0; a <= 255; ++a)
    for (int d = 0; d <= 255; ++d) {
      ASSERT_EQ(static_cast<double>(a) <= 2.5 * d, 2 * a <= 5 * d);
      ASSERT_EQ(static_cast<double>(a) <= 5.0 * d, a <= 5 * d);
    }
}

// The high-resolution 1260 widening's tenths equal the still widening's
// fifths: (4a + 6b) / 10 == (2a + 3b) / 5 for 16-bit samples.
TEST(Golden, TenthsAndFifthsAgree) {
  for (int a = -1200; a <= 1200; a += 3)
    for (int b = -1200; b <= 1200; ++b) ASSERT_EQ((4 * a + 6 * b) / 10, (2 * a + 3 * b) / 5);
  uint32_t seed = 5;
  for (int i = 0; i < 1000000; ++i) {
    const int a = static_cast<int16_t>(Next(seed)), b = static_cast<int16_t>(Next(seed));
    ASSERT_EQ((4 * a + 6 * b) / 10, (2 * a + 3 * b) / 5);
  }
}

// The ratio tables are filled by stepping quotients instead of dividing:
// every entry equals (i x peak) / level for levels across their range.
TEST(Golden, RatioTablesEqualTheirQuotients) {
  for (int level : {1, 2, 3, 95, 100, 285, 999, 1000, 4000, 20000, 32767}) {
    for (int other : {1, 100, 1000, 32767}) {
      Camera cam;
      cam.modes.wbMode = 1;
      SetRGBratio(cam, static_cast<uint16_t>(level), static_cast<uint16_t>(other),
                  static_cast<uint16_t>(other));
      Samples16 s(262144, 0);
      ApplyRawGains(cam, s.data(), 13, 1);
      const int32_t w[3] = {static_cast<int16_t>(cam.modes.ratioR) * 100 / 105,
                            static_cast<int16_t>(cam.modes.ratioG),
                            static_cast<int16_t>(cam.modes.ratioB) * 103 / 100};
      if (std::min({w[0], w[1], w[2]}) <= 0) continue;
      const int32_t peak = std::max({w[0], w[1], w[2]});
      const WhiteBalanceState& wb = cam.whiteBalance;
      const int16_t* tables[3] = {wb.ratioTableR.get(), wb.ratioTableG.get(), wb.ratioTableB.get()};
      for (int c = 0; c < 3; ++c)
        for (int32_t i = 0; i < kRawTableLength; ++i)
          ASSERT_EQ(tables[c][i], static_cast<int16_t>(static_cast<uint16_t>(i * peak / w[c])))
              << level << " " << other << " " << c << " " << i;
    }
  }
}

// The working memory of a conversion, after a first frame has made the
// white-balance tables that stay with the context: no more than the buffers
// of its path, plus 10 %.
TEST(Golden, PeakWorkingMemoryStaysWithinThePathsBuffers) {
  auto peakOf = [](const std::function<void()>& run) {
    run();
    ResetPeakAllocation();
    run();
    return PeakAllocatedBytes();
  };
  Camera preview;
  SetMotionResolution(preview, 51);
  const Bytes frame = PreviewFrame(kScene, 51, 1);
  Bytes raw, rgb(preview.modes.imageBytes);
  EXPECT_LE(peakOf([&] {
              raw = frame;  // the preview rewrites its input
              ASSERT_EQ(ConvertPreviewFrame(preview, raw.data(), rgb.data()), 1);
            }),
            524288u * 11 / 10)
      << "preview, raw-domain balance";
  for (int code : {13, 40}) {
    for (int sub : {0, 1, 2}) {
      Camera cam;
      SetResolution(cam, code, sub);
      SetFocusFactors(cam, 1, 1);
      SetOption(cam, 'u', 1);
      const Bytes still = StillFrame(kScene, cam.sampleCount.rawSampleCount, 2);
      Bytes out(54 + std::size_t{cam.modes.imageBytes});
      const CameraModes settings = cam.modes;
      const std::size_t peak = peakOf([&] {
        cam.modes = settings;
        ASSERT_EQ(ConvertCamFrame(cam, still.data(), out.data(), code), 1);
      });
      const std::size_t buffers =
          2 * std::max<std::size_t>(cam.sampleCount.rawSampleCount, cam.modes.imageBytes);
      EXPECT_LE(peak, ((code == 40 ? 6291456 : 1572864) + buffers) * 11 / 10) << code << " " << sub;
    }
  }
}

}  // namespace
}  // namespace vobrex
