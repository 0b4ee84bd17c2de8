#include <gtest/gtest.h>

#include <vector>

#include "capture/defect_correction.h"

namespace vobrex {
namespace {

constexpr int kRow = 512;

// A frame of `blocks` read-outs, every sample `level`.
struct Frame {
  std::vector<int16_t> samples;
  Frame(int blocks, int16_t level)
      : samples(static_cast<std::size_t>(blocks) * kDefectBlockSamples, level) {}
  int16_t& At(int block, int field, int row, int column) {
    return samples[static_cast<std::size_t>(block) * kDefectBlockSamples +
                   field * kDefectFieldSamples + row * kRow + column];
  }
  void SetAllBlocks(int field, int row, int column, int16_t v) {
    const int blocks = static_cast<int>(samples.size() / kDefectBlockSamples);
    for (int b = 0; b < blocks; ++b) At(b, field, row, column) = v;
  }
};

uint8_t MapByte(const Camera& cam, int field, int row, int column) {
  return cam.defectBuffers.frame[field * kDefectFieldSamples + row * kRow + column];
}

void ClearMap(Camera& cam) {
  std::fill_n(cam.defectBuffers.frame.get(), kDefectFrameBytes, uint8_t{0});
}

TEST(DefectStatistics, MeansTruncateTowardZero) {
  const int32_t v[4] = {1, 2, 3, 4};
  EXPECT_EQ(MeanOf(v, 4), 2);
  EXPECT_EQ(MeanDeviation(v, 4), 1);  // (1 + 0 + 1 + 2) / 4
  const int32_t negative[2] = {-3, -4};
  EXPECT_EQ(MeanOf(negative, 2), -3);
}

// The dark-site test on one read-out: a site is dark when it lies 3..37
// below every neighbour and the neighbours agree (mean deviation below 6).
TEST(DarkSites, DifferenceLimits) {
  Camera cam;
  struct Case {
    int16_t centre;
    uint8_t mark;
  };
  for (const Case& c : {Case{60, 0}, Case{63, 10}, Case{97, 10}, Case{98, 0}, Case{100, 0}}) {
    Frame f(1, 100);
    f.At(0, 0, 10, 20) = c.centre;
    f.At(0, 1, 50, 101) = c.centre;
    ClearMap(cam);
    MarkDarkSites(cam, f.samples.data(), 13);
    EXPECT_EQ(MapByte(cam, 0, 10, 20), c.mark) << "centre " << c.centre;
    EXPECT_EQ(MapByte(cam, 1, 50, 101), c.mark) << "centre " << c.centre;
  }
}

// Neighbours of field-0 site (r, c), in test order.
void SetField0Neighbours(Frame& f, int r, int c, const int16_t (&v)[8]) {
  f.At(0, 0, r, c + 2) = v[0];
  f.At(0, 0, r + 1, c) = v[1];
  f.At(0, 1, r, c - 1) = v[2];
  f.At(0, 1, r, c + 1) = v[3];
  f.At(0, 0, r, c - 2) = v[4];
  f.At(0, 0, r - 1, c) = v[5];
  f.At(0, 1, r - 1, c + 1) = v[6];
  f.At(0, 1, r - 1, c - 1) = v[7];
}

TEST(DarkSites, NeighboursMustAgree) {
  Camera cam;
  Frame f(1, 100);
  f.At(0, 0, 10, 20) = 50;
  SetField0Neighbours(f, 10, 20, {60, 70, 60, 70, 60, 70, 60, 70});  // deviation 5
  MarkDarkSites(cam, f.samples.data(), 13);
  EXPECT_EQ(MapByte(cam, 0, 10, 20), 10);

  ClearMap(cam);
  SetField0Neighbours(f, 10, 20, {60, 72, 60, 72, 60, 72, 60, 72});  // deviation 6
  MarkDarkSites(cam, f.samples.data(), 13);
  EXPECT_EQ(MapByte(cam, 0, 10, 20), 0);

  // Each of the eight neighbours takes part: one of them too close stops it.
  for (int k = 0; k < 8; ++k) {
    int16_t v[8] = {60, 60, 60, 60, 60, 60, 60, 60};
    v[k] = 51;
    SetField0Neighbours(f, 10, 20, v);
    ClearMap(cam);
    MarkDarkSites(cam, f.samples.data(), 13);
    EXPECT_EQ(MapByte(cam, 0, 10, 20), 0) << "neighbour " << k;
  }
}

TEST(DarkSites, LastColumnLooksAtNextLine) {
  Camera cam;
  Frame f(1, 100);
  f.At(0, 0, 10, 510) = 80;
  MarkDarkSites(cam, f.samples.data(), 13);
  EXPECT_EQ(MapByte(cam, 0, 10, 510), 10);
  f.At(0, 0, 11, 0) = 81;  // the neighbour two to the right of column 510
  ClearMap(cam);
  MarkDarkSites(cam, f.samples.data(), 13);
  EXPECT_EQ(MapByte(cam, 0, 10, 510), 0);
}

TEST(CorrectDefects, SingleReadOutNeverChanges) {
  Camera cam;
  Frame f(1, 100);
  for (int r = 10; r < 200; r += 20) {
    f.At(0, 0, r, 40) = 80;
    f.At(0, 1, r, 41 + 100) = 80;
  }
  const std::vector<int16_t> before = f.samples;
  EXPECT_EQ(CorrectDefects(cam, f.samples.data(), 13), 1);
  EXPECT_EQ(f.samples, before);
}

// Code 23: two read-outs; a site must be dark in both, each list needs two
// entries, and the last entry of each list is left alone.
TEST(CorrectDefects, DoubleReadOutRepairsAllButLastOfEachField) {
  Camera cam;
  Frame f(2, 100);
  f.SetAllBlocks(0, 10, 20, 80);
  f.SetAllBlocks(0, 20, 40, 80);
  f.SetAllBlocks(1, 50, 101, 80);
  f.SetAllBlocks(1, 60, 201, 80);
  f.At(0, 0, 30, 60) = 80;  // dark in one read-out only
  EXPECT_EQ(CorrectDefects(cam, f.samples.data(), 23), 1);
  for (int b = 0; b < 2; ++b) {
    EXPECT_EQ(f.At(b, 0, 10, 20), 100);
    EXPECT_EQ(f.At(b, 0, 20, 40), 80);
    EXPECT_EQ(f.At(b, 1, 50, 101), 100);
    EXPECT_EQ(f.At(b, 1, 60, 201), 80);
  }
  EXPECT_EQ(f.At(0, 0, 30, 60), 80);
}

TEST(CorrectDefects, OneFieldShortStopsBoth) {
  Camera cam;
  Frame f(2, 100);
  f.SetAllBlocks(0, 10, 20, 80);
  f.SetAllBlocks(0, 20, 40, 80);
  f.SetAllBlocks(0, 30, 60, 80);
  f.SetAllBlocks(1, 50, 101, 80);  // field 1 has one entry only
  const std::vector<int16_t> before = f.samples;
  int32_t countA = -1;
  int32_t countB = -1;
  MarkDarkSites(cam, f.samples.data(), 23);
  CollectDefects(cam, &countA, &countB);
  EXPECT_EQ(countA, 0);
  EXPECT_EQ(countB, 0);
  EXPECT_EQ(DefectListEntry(cam, 0, 2).row, 30);  // the list itself was filled
  EXPECT_EQ(CorrectDefects(cam, f.samples.data(), 23), 1);
  EXPECT_EQ(f.samples, before);
}

TEST(CorrectDefects, ListStopsAtLimit) {
  Camera cam;
  Frame f(2, 100);
  // Isolated dark sites on every even line, every fourth column: far more
  // than a list holds. Entry 5000 (the last kept) is (30, 80). The field-1
  // sites lie below them, away from any dark neighbour.
  for (int r = 2; r <= 200; r += 2) {
    for (int c = 2; c <= 510; c += 4) f.SetAllBlocks(0, r, c, 80);
  }
  f.SetAllBlocks(1, 220, 101, 80);
  f.SetAllBlocks(1, 230, 201, 80);
  int32_t countA = 0;
  int32_t countB = 0;
  MarkDarkSites(cam, f.samples.data(), 23);
  CollectDefects(cam, &countA, &countB);
  EXPECT_EQ(countA, 4999);
  EXPECT_EQ(countB, 1);
  EXPECT_EQ(DefectListEntry(cam, 0, 4999).column, 30);
  EXPECT_EQ(DefectListEntry(cam, 0, 4999).row, 80);

  EXPECT_EQ(CorrectDefects(cam, f.samples.data(), 23), 1);
  for (int b = 0; b < 2; ++b) {
    EXPECT_EQ(f.At(b, 0, 2, 2), 100);
    EXPECT_EQ(f.At(b, 0, 80, 26), 100);
    EXPECT_EQ(f.At(b, 0, 80, 30), 80);
    EXPECT_EQ(f.At(b, 0, 80, 34), 80);
    EXPECT_EQ(f.At(b, 1, 220, 101), 100);
    EXPECT_EQ(f.At(b, 1, 230, 201), 80);
  }
}

TEST(RepairDefects, LaterRepairsSeeEarlierOnes) {
  Camera cam;
  Frame f(1, 40);
  f.At(0, 0, 10, 18) = 200;
  f.At(0, 0, 10, 20) = 0;
  f.At(0, 0, 10, 22) = 0;
  SetDefectListEntry(cam, 0, 0, {20, 10});
  SetDefectListEntry(cam, 0, 1, {22, 10});
  RepairDefects(cam, f.samples.data(), 13, 2, 0);
  EXPECT_EQ(f.At(0, 0, 10, 20), (40 + 40 + 40 + 200) >> 2);
  EXPECT_EQ(f.At(0, 0, 10, 22), (40 + 40 + 40 + 80) >> 2);
}

TEST(CorrectDefects, MissingMapRefuses) {
  Camera cam;
  cam.defectBuffers.frame.reset();
  Frame f(2, 100);
  f.SetAllBlocks(0, 10, 20, 80);
  const std::vector<int16_t> before = f.samples;
  EXPECT_EQ(CorrectDefects(cam, f.samples.data(), 23), 0);
  EXPECT_EQ(f.samples, before);
}

}  // namespace
}  // namespace vobrex
