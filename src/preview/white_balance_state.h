// What the white-balance stages keep between calls, per camera context.
#pragma once

#include <cstdint>

#include "platform/memory.h"

namespace vobrex {

// Entries of each raw-domain table: one per working sample value 0..16382.
inline constexpr int32_t kRawTableLength = 16383;
// Preview estimates averaged into the levels.
inline constexpr int kEstimateHistoryDepth = 4;
// Accepted measurements the fallback levels are taken from.
inline constexpr int kLevelHistoryDepth = 5;

// Channel slots of the histories below.
inline constexpr int kRed = 0;
inline constexpr int kGreen = 1;
inline constexpr int kBlue = 2;

struct WhiteBalanceState {
  // Raw-domain gain tables indexed by a working sample. Allocated zero-filled
  // the first time raw gains run and kept for the life of the context.
  Owned<int16_t> ratioTableR;
  Owned<int16_t> ratioTableG;
  Owned<int16_t> ratioTableB;
  Owned<int32_t> factorTableR;  // only the low 16 bits reach a sample
  Owned<int32_t> factorTableG;
  Owned<int32_t> factorTableB;
  // Raw-domain balance calls since the last still; the ratio tables are
  // rebuilt when it is a multiple of 5.
  int32_t ratioRebuildCount = 0;
  // Goes up whenever the contents of one of the six tables above may have
  // changed (allocation or fill), so that work derived from their contents
  // (the byte tables of a preview frame) can tell whether it is current.
  uint32_t rawTableVersion = 0;
  // What each table was last filled from: a refill from the same levels or
  // factor writes the very same entries and is skipped. R, G, B order.
  struct RatioFill {
    bool filled = false;
    int32_t peak = 0;
    int32_t level = 0;
  } ratioFill[3];
  struct FactorFill {
    bool filled = false;
    uint64_t factorBits = 0;  // the double's bits: equal bits, equal products
  } factorFill[3];

  // Levels of the last four preview estimates per channel (kRed..kBlue),
  // oldest first.
  uint32_t estimateHistory[3][kEstimateHistoryDepth] = {};

  // White-target run of the semi-automatic mode on preview images: the
  // running values (blue, green, red, as the pixel bytes) and the calls of
  // the run so far (0 = no run under way).
  uint32_t targetLevels[3] = {};
  int32_t targetRunCount = 0;

  // Channel sums of the last five accepted preview measurements per channel
  // (kRed..kBlue), oldest first, and how many have been pushed in all.
  uint32_t levelHistory[3][kLevelHistoryDepth] = {};
  uint32_t levelPushCount = 0;

  // Raw-domain sums of the last white-target measurement and their point count.
  int32_t rawSumR = 0;
  int32_t rawSumG = 0;
  int32_t rawSumB = 0;
  int32_t rawCount = 0;
};

}  // namespace vobrex
