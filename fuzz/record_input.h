// The input of the record targets: any 208-byte settings record, copied in
// whole, then a conversion entry point of the target's family (twice, when
// asked, so that state kept between frames is used) on a raw frame of the
// current sample count.
//
// Input: entry byte (bit 0 picks the entry point of the family, bit 2 asks
// for a second call), how the resolution was chosen before the record came
// in (0 not at all, 1 SetResolution, 2 SetMotionResolution) with its code
// and sub-mode, the code of GetVFWImage, a clock step in milliseconds (u16),
// the frame pattern (bits 0-1 the pattern, bits 4-5 the vector paths); then
// the record (bytes the input lacks keep the values of the context), then the
// bytes the frame is tiled from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "harness.h"
#include "platform/cpu_features.h"
#include "settings/camera.h"

namespace vobrex::fuzz {

// Everything a record input left behind: each call's outcome and the
// settings at the end.
struct RecordRun {
  std::vector<Outcome> calls;
  CameraModes modes{};
};

inline RecordRun ConvertRecordInput(const uint8_t* data, std::size_t size,
                                    const EntryPoint (&family)[2], bool keep) {
  Input in(data, size);
  const uint8_t entry = in.Byte();
  const uint8_t chosenBy = in.Byte();
  const auto code = static_cast<int8_t>(in.Byte());
  const auto subMode = static_cast<int8_t>(in.Byte());
  const auto vfwCode = static_cast<int8_t>(in.Byte());
  const uint16_t clockStep = in.U16();
  const uint8_t frameKind = in.Byte();

  ManualClock clock;
  Camera cam;
  clock.now += clockStep;
  clock.Attach(cam);
  switch (chosenBy % 3) {
    case 1: SetResolution(cam, code, subMode); break;
    case 2: SetMotionResolution(cam, subMode); break;
    default: break;
  }

  CameraModes record = cam.modes;
  in.Overlay(&record, sizeof record);
  FoldImageBytes(record);
  cam.modes = record;  // SetModes: no checks, nothing derived

  FramePattern pattern;
  pattern.kind = frameKind;
  pattern.bytes = in.Rest(&pattern.count);

  RecordRun run;
  const int calls = (entry & 4) ? 2 : 1;
  for (int i = 0; i < calls; ++i) {
    Outcome outcome;
    RunEntryPoint(cam, family[entry & 1], pattern, vfwCode, keep ? &outcome : nullptr);
    if (keep) run.calls.push_back(std::move(outcome));
    clock.now += clockStep;
  }
  run.modes = cam.modes;
  return run;
}

// Runs the input with the widest vector paths the processor offers or
// with the portable code only (bits 4-5 of the frame byte choose); a run on
// vector paths is repeated on the portable code, and both must leave the
// same bytes behind.
inline void RunRecordInput(const uint8_t* data, std::size_t size, const EntryPoint (&family)[2]) {
  const uint8_t frameKind = size > 7 ? data[7] : 0;
  const bool vector = ((frameKind >> 4) & 3) != 0 && SupportedSimdLevel() != SimdLevel::kScalar;
  SetSimdLevel(vector ? SupportedSimdLevel() : SimdLevel::kScalar);
  const RecordRun run = ConvertRecordInput(data, size, family, vector);
  if (!vector) return;
  SetSimdLevel(SimdLevel::kScalar);
  const RecordRun portable = ConvertRecordInput(data, size, family, true);
  FUZZ_CHECK(run.calls == portable.calls);
  FUZZ_CHECK(std::memcmp(&run.modes, &portable.modes, sizeof run.modes) == 0);
}

}  // namespace vobrex::fuzz
