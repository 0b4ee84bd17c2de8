#include "capture/defect_correction.h"

#include <cstdlib>
#include <cstring>

namespace vobrex {

namespace {

constexpr int32_t kRow = 512;  // samples per field line

// Field 0 holds the green-blue lines, field 1 the red-green lines; field 0
// line r lies between field 1 lines r - 1 and r.
constexpr int32_t kField0FirstRow = 2;
constexpr int32_t kField0LastRow = 245;
constexpr int32_t kField0FirstColumn = 2;
constexpr int32_t kField0LastColumn = 510;
constexpr int32_t kField1FirstRow = 1;
constexpr int32_t kField1LastRow = 244;
constexpr int32_t kField1FirstColumn = 3;
constexpr int32_t kField1LastColumn = 509;

bool HaveBuffers(const DefectWorkBuffers& b) {
  return b.frame && b.columnsA && b.rowsA && b.columnsB && b.rowsB;
}

// The eight neighbours are tested in a fixed order and the test stops at the
// first that is not 3..37 above the centre; only sites darker than all eight
// pay for the deviation.
bool IsDarkSite(int32_t centre, const int32_t (&neighbours)[8]) {
  for (int32_t n : neighbours) {
    const int32_t difference = n - centre;
    if (centre >= n || difference < 3 || difference > 37) return false;
  }
  return MeanDeviation(neighbours, 8) < 6;
}

void MarkField0(const int16_t* f0, const int16_t* f1, uint8_t* map) {
  for (int32_t r = kField0FirstRow; r <= kField0LastRow; ++r) {
    for (int32_t c = kField0FirstColumn; c <= kField0LastColumn; c += 2) {
      const int32_t i = r * kRow + c;
      // At column 510 the right-hand neighbour two along is the first sample
      // of the next line: the field is read as one continuous run.
      const int32_t neighbours[8] = {f0[i + 2], f0[i + kRow], f1[i - 1],        f1[i + 1],
                                     f0[i - 2], f0[i - kRow], f1[i - kRow + 1], f1[i - kRow - 1]};
      if (IsDarkSite(f0[i], neighbours)) map[i] = static_cast<uint8_t>(map[i] + kDarkSiteMark);
    }
  }
}

void MarkField1(const int16_t* f0, const int16_t* f1, uint8_t* map) {
  for (int32_t r = kField1FirstRow; r <= kField1LastRow; ++r) {
    for (int32_t c = kField1FirstColumn; c <= kField1LastColumn; c += 2) {
      const int32_t i = r * kRow + c;
      const int32_t neighbours[8] = {f1[i + 2], f1[i + kRow], f0[i + kRow - 1], f0[i + kRow + 1],
                                     f1[i - 2], f1[i - kRow], f0[i + 1],        f0[i - 1]};
      if (IsDarkSite(f1[i], neighbours)) {
        map[kDefectFieldSamples + i] =
            static_cast<uint8_t>(map[kDefectFieldSamples + i] + kDarkSiteMark);
      }
    }
  }
}

// Appends the sites of one field of the map that reached the threshold;
// returns how many entries the list holds.
int32_t CollectField(Camera& cam, int list, const uint8_t* fieldMap, int32_t firstRow,
                     int32_t lastRow, int32_t firstColumn, int32_t lastColumn) {
  int32_t entries = 0;
  for (int32_t r = firstRow; r <= lastRow; ++r) {
    for (int32_t c = firstColumn; c <= lastColumn; c += 2) {
      if (fieldMap[r * kRow + c] < kDefectThreshold) continue;
      if (entries == kDefectListLimit) return entries;  // a full list ends the scan
      SetDefectListEntry(cam, list, entries++, DefectSite{c, r});
    }
  }
  return entries;
}

// The mean of the sites above-left, above, above-right and left, all of
// which lie before the site in read-out order.
// Entries outside the lines and columns every neighbour exists for are never
// collected; one placed there by hand is skipped.
void RepairSite(int16_t* field, DefectSite site) {
  if (site.row < 1 || site.column < 2 || site.column > kField0LastColumn) return;
  const int32_t i = site.row * kRow + site.column;
  const int32_t sum = field[i - kRow - 2] + field[i - kRow] + field[i - kRow + 2] + field[i - 2];
  field[i] = static_cast<int16_t>(sum >> 2);
}

}  // namespace

int32_t MeanOf(const int32_t* values, int32_t n) {
  if (n <= 0) return 0;
  int32_t sum = 0;
  for (int32_t k = 0; k < n; ++k) sum += values[k];
  return sum / n;
}

int32_t MeanDeviation(const int32_t* values, int32_t n) {
  if (n <= 0) return 0;
  const int32_t mean = MeanOf(values, n);
  int32_t sum = 0;
  for (int32_t k = 0; k < n; ++k) sum += std::abs(values[k] - mean);
  return sum / n;
}

DefectSite DefectListEntry(const Camera& cam, int list, int32_t index) {
  const DefectWorkBuffers& b = cam.defectBuffers;
  const uint8_t* columns = (list == 0 ? b.columnsA : b.columnsB).get();
  const uint8_t* rows = (list == 0 ? b.rowsA : b.rowsB).get();
  uint16_t column = 0;
  std::memcpy(&column, columns + 2 * index, sizeof column);
  return DefectSite{column, rows[index]};
}

void SetDefectListEntry(Camera& cam, int list, int32_t index, DefectSite site) {
  DefectWorkBuffers& b = cam.defectBuffers;
  uint8_t* columns = (list == 0 ? b.columnsA : b.columnsB).get();
  uint8_t* rows = (list == 0 ? b.rowsA : b.rowsB).get();
  const auto column = static_cast<uint16_t>(site.column);
  std::memcpy(columns + 2 * index, &column, sizeof column);
  rows[index] = static_cast<uint8_t>(site.row);
}

void MarkDarkSites(Camera& cam, const int16_t* samples, int code) {
  uint8_t* map = cam.defectBuffers.frame.get();
  const int blocks = ResolutionScale(code);
  for (int b = 0; b < blocks; ++b) {
    const int16_t* f0 = samples + static_cast<std::ptrdiff_t>(b) * kDefectBlockSamples;
    const int16_t* f1 = f0 + kDefectFieldSamples;
    MarkField0(f0, f1, map);
    MarkField1(f0, f1, map);
  }
}

void CollectDefects(Camera& cam, int32_t* countA, int32_t* countB) {
  const uint8_t* map = cam.defectBuffers.frame.get();
  const int32_t entriesA = CollectField(cam, 0, map, kField0FirstRow, kField0LastRow,
                                        kField0FirstColumn, kField0LastColumn);
  const int32_t entriesB = CollectField(cam, 1, map + kDefectFieldSamples, kField1FirstRow,
                                        kField1LastRow, kField1FirstColumn, kField1LastColumn);
  // The last site found in each field is left alone, and a field with fewer
  // than two sites stops the repair of both.
  *countA = entriesA - 1;
  *countB = entriesB - 1;
  if (*countA < 1 || *countB < 1) {
    *countA = 0;
    *countB = 0;
  }
}

void RepairDefects(Camera& cam, int16_t* samples, int code, int32_t countA, int32_t countB) {
  // The lists hold at most kDefectListLimit entries.
  countA = countA < 0 ? 0 : countA > kDefectListLimit ? kDefectListLimit : countA;
  countB = countB < 0 ? 0 : countB > kDefectListLimit ? kDefectListLimit : countB;
  const int blocks = ResolutionScale(code);
  for (int b = 0; b < blocks; ++b) {
    int16_t* f0 = samples + static_cast<std::ptrdiff_t>(b) * kDefectBlockSamples;
    int16_t* f1 = f0 + kDefectFieldSamples;
    // In list order: a repaired site can feed a later repair on its line.
    for (int32_t k = 0; k < countA; ++k) RepairSite(f0, DefectListEntry(cam, 0, k));
    for (int32_t k = 0; k < countB; ++k) RepairSite(f1, DefectListEntry(cam, 1, k));
  }
}

int CorrectDefects(Camera& cam, int16_t* samples, int code) {
  // The lists are reserved before the map, so a missing map is the only
  // case in practice; a missing list is refused the same way.
  if (!HaveBuffers(cam.defectBuffers)) return 0;
  std::memset(cam.defectBuffers.frame.get(), 0, kDefectFrameBytes);
  int32_t countA = 0;
  int32_t countB = 0;
  MarkDarkSites(cam, samples, code);
  CollectDefects(cam, &countA, &countB);
  RepairDefects(cam, samples, code, countA, countB);
  return 1;
}

}  // namespace vobrex
