#include <gtest/gtest.h>

#include <vector>

#include "capture/defect_correction.h"

namespace vobrex {
namespace {

// A frame of `blocks` read-outs, every sample `level`.
struct Frame {
  std::vector<int16_t> samples;
  Frame(int blocks, int16_t level) : samples(std::size_t(blocks) * kDefectBlockSamples, level) {}
  int16_t& At(int block, int field, int row, int column) {
    return samples[std::size_t(block) * kDefectBlockSamples + field * kDefectFieldSamples +
                   row * 512 + column];
  }
  // The same site in every read-out.
  void Set(int field, int row, int column, int16_t v) {
    for (std::size_t b = 0; b * kDefectBlockSamples < samples.size(); ++b)
      At(int(b), field, row, column) = v;
  }
};

// Marks a one-read-out frame on a fresh map and returns the byte of a site.
int Mark(const Frame& f, int field, int row, int column) {
  Camera cam;
  MarkDarkSites(cam, f.samples.data(), 13);
  return cam.defectBuffers.frame[field * kDefectFieldSamples + row * 512 + column];
}

// A site is dark when it lies 3..37 below each of its eight neighbours and
// they agree (mean deviation below 6); a hit adds 10 to its map byte.
TEST(DarkSites, LimitsAndNeighbours) {
  for (auto [centre, mark] : {std::pair{60, 0}, {63, 10}, {97, 10}, {98, 0}, {100, 0}}) {
    Frame f(1, 100);
    f.At(0, 0, 10, 20) = f.At(0, 1, 50, 101) = int16_t(centre);
    EXPECT_EQ(Mark(f, 0, 10, 20), mark) << centre;
    EXPECT_EQ(Mark(f, 1, 50, 101), mark) << centre;
  }
  // The neighbours of field-0 site (10, 20), as (field, row, column). With
  // neighbours 60 and 70 (deviation 5) the centre 50 is dark, with 60 and 72
  // (deviation 6) not, nor when any one neighbour lies only 1 above it.
  const int at[8][3] = {{0, 10, 22}, {0, 11, 20}, {1, 10, 19}, {1, 10, 21},
                        {0, 10, 18}, {0, 9, 20},  {1, 9, 21},  {1, 9, 19}};
  for (int k = -2; k < 8; ++k) {
    Frame f(1, 100);
    f.At(0, 0, 10, 20) = 50;
    const int spread = k == -2 ? 10 : k == -1 ? 12 : 0;
    for (int n = 0; n < 8; ++n)
      f.At(0, at[n][0], at[n][1], at[n][2]) = int16_t(n == k ? 51 : 60 + spread * (n % 2));
    EXPECT_EQ(Mark(f, 0, 10, 20), k == -2 ? 10 : 0) << k;
  }
  // At column 510 the neighbour two to the right is column 0 of the next line.
  Frame f(1, 100);
  f.At(0, 0, 10, 510) = 80;
  EXPECT_EQ(Mark(f, 0, 10, 510), 10);
  f.At(0, 0, 11, 0) = 81;
  EXPECT_EQ(Mark(f, 0, 10, 510), 0);
}

// A site counts only when dark in two read-outs: code 13 never changes a
// sample; code 23 repairs all but the last site listed in each field, and
// only when each field lists at least two (one short field stops both). The
// field-0 sites fill every fourth column of the even lines from (2, 2) on;
// 12800 of them overflow the list, whose scan stops at entry 5000, (80, 30).
TEST(CorrectDefects, TwoReadOutsTwoEntriesInEachFieldAndTheListLimit) {
  for (auto [code, dark0, dark1] :
       {std::tuple{13, 3, 3}, {23, 2, 3}, {23, 3, 1}, {23, 1, 3}, {23, 12800, 2}}) {
    Camera cam;
    Frame f(code / 10, 100);
    f.At(0, 1, 200, 401) = 80;  // dark in one read-out only
    Frame expected = f;
    const int listed0 = dark0 < 5000 ? dark0 : 5000;
    const bool repairs = code == 23 && listed0 >= 2 && dark1 >= 2;
    for (int i = 0; i < dark0; ++i) {
      f.Set(0, 2 + 2 * (i / 128), 2 + 4 * (i % 128), 80);
      expected.Set(0, 2 + 2 * (i / 128), 2 + 4 * (i % 128), repairs && i + 1 < listed0 ? 100 : 80);
    }
    for (int i = 0; i < dark1; ++i) {
      f.Set(1, 220 + 10 * i, 101 + 100 * i, 80);
      expected.Set(1, 220 + 10 * i, 101 + 100 * i, repairs && i + 1 < dark1 ? 100 : 80);
    }
    EXPECT_EQ(CorrectDefects(cam, f.samples.data(), code), 1);
    EXPECT_TRUE(f.samples == expected.samples) << code << " " << dark0 << " " << dark1;
    cam.defectBuffers.frame.reset();  // no map: refused
    EXPECT_EQ(CorrectDefects(cam, f.samples.data(), code), 0);
  }
}

// Entries are repaired in list order: the second sees the first's new value.
TEST(RepairDefects, LaterRepairsSeeEarlierOnes) {
  Camera cam;
  Frame f(1, 40);
  f.At(0, 0, 10, 18) = 200;
  SetDefectListEntry(cam, 0, 0, {20, 10});
  SetDefectListEntry(cam, 0, 1, {22, 10});
  RepairDefects(cam, f.samples.data(), 13, 2, 0);
  EXPECT_EQ(f.At(0, 0, 10, 20), (40 + 40 + 40 + 200) >> 2);
  EXPECT_EQ(f.At(0, 0, 10, 22), (40 + 40 + 40 + 80) >> 2);  // not 40
}

}  // namespace
}  // namespace vobrex
