// Repair of sensor sites that read persistently darker than everything
// around them. The sites are found in the frame itself: a site counts as
// defective only when it is a dark outlier in at least two of the 512 x 512
// read-outs a still frame is made of, so single-read-out frames never change.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

inline constexpr int32_t kDefectBlockSamples = 262144;  // one 512 x 512 read-out
inline constexpr int32_t kDefectFieldSamples = 131072;  // 256 lines of 512
inline constexpr int32_t kDefectListLimit = 5000;
inline constexpr uint8_t kDarkSiteMark = 10;
inline constexpr uint8_t kDefectThreshold = 20;

// Marks, collects and repairs on ResolutionScale(code) blocks of `samples`.
// Returns 1 after a run, 0 when the work buffers were never reserved.
int CorrectDefects(Camera& cam, int16_t* samples, int code);

// Adds kDarkSiteMark to the map byte of every dark site of every block; the
// map in cam.defectBuffers.frame is shared by the blocks, so marks add up.
void MarkDarkSites(Camera& cam, const int16_t* samples, int code);

// Lists the sites marked in at least two blocks (field 0 into list A, field 1
// into list B) and reports how many of each to repair.
void CollectDefects(Camera& cam, int32_t* countA, int32_t* countB);

// Replaces the first countA sites of list A and countB of list B, in list
// order, in every block.
void RepairDefects(Camera& cam, int16_t* samples, int code, int32_t countA, int32_t countB);

// Truncating mean and truncating mean absolute deviation of n values.
int32_t MeanOf(const int32_t* values, int32_t n);
int32_t MeanDeviation(const int32_t* values, int32_t n);

// Access to the list entries (a column as u16, a row as u8), for the repair
// and for inspecting a run.
struct DefectSite {
  int32_t column;
  int32_t row;
};
DefectSite DefectListEntry(const Camera& cam, int list, int32_t index);
void SetDefectListEntry(Camera& cam, int list, int32_t index, DefectSite site);

}  // namespace vobrex
