// The six still kernels: resampling weights, the wrap at the row end, the
// orientations and the output contents.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/cpu_features.h"
#include "still/still_kernels.h"
#include "still/still_planes.h"
#include "still/widening.h"

namespace vobrex {
namespace {

using Planes = std::vector<int16_t>;

// Every site of the three planes set to f(plane, row, column).
template <class F>
Planes Filled(F f) {
  Planes planes(kStillPlanesAllocation, 0);
  for (int i = 0; i < int(kStillPlanesValues); ++i)
    planes[i] = int16_t(f(i / kStillPlaneValues, i / kStillSide % kStillSide, i % kStillSide));
  return planes;
}

int Noise(int p, int y, int x) { return int(uint32_t(p + 3 * y + 1536 * x) * 2654435761u >> 21); }

// One kernel with one content: size 0, 1, 2 is 640 x 480, 480 x 360,
// 320 x 240; outputFormat 2 runs the grey kernels, 0 and 1 the colour ones.
struct Picture {
  int size, format, optionQ;
  int Width() const { return 640 - 160 * size; }
  std::vector<uint16_t> Convert(const Planes& planes, int orientation) const {
    CameraModes modes{};
    modes.outputFormat = uint8_t(format), modes.optionQ = uint8_t(optionQ);
    std::vector<uint16_t> out(std::size_t(Width()) * Width() * 9 / 4, 0xBEEF);
    void (*const grey[])(const int16_t*, uint16_t*, int) = {StillToGrey, StillToGrey480,
                                                            StillToGrey320};
    void (*const colour[])(const CameraModes&, const int16_t*, uint16_t*, int) = {
        StillToColour, StillToColour480, StillToColour320};
    if (format == 2) grey[size](planes.data(), out.data(), orientation);
    if (format != 2) colour[size](modes, planes.data(), out.data(), orientation);
    return out;
  }
};

// Every kernel with every content (grey, colour, green alone, mean). Planes
// flat at red, green, blue give one pixel everywhere: colour unclamped, grey
// (2 R + 4 G + B) / 7 and the mean (R + G + B) / 3 truncated toward zero
// (-23 / 7 and -11 / 3 give -3). Code 1 keeps the rows and columns as made;
// on noise, 2 turns the rows over (upright), 3 mirrors the columns and 4 does
// both (each orientation and content has a loop of its own).
TEST(StillKernels, FlatPlanesAndOrientationsInEveryKernelAndContent) {
  // Blue, green, red, grey, mean.
  const int flats[3][5] = {{200, 200, 200, 200, 200}, {-1, 61, 30, 43, 30}, {-5, -3, -3, -3, -3}};
  std::vector<Planes> flatPlanes;
  for (const auto& f : flats)
    flatPlanes.push_back(Filled([&f](int plane, int, int) { return f[(plane + 2) % 3]; }));
  const Planes noise = Filled(Noise);
  for (int n = 0; n < 12; ++n) {
    const Picture p{n / 4, n % 4 == 0 ? 2 : int(n % 4 == 1), n % 4 == 2};
    const std::size_t w = p.Width(), h = w * 3 / 4;
    const std::vector<uint16_t> made = p.Convert(noise, 1);
    for (int k = 0; k < 3; ++k) {
      const int g = p.format == 2 ? flats[k][3] : p.optionQ ? flats[k][1] : flats[k][4];
      const std::vector<uint16_t> flat = p.Convert(flatPlanes[k], 1);
      for (std::size_t i = 0; i < flat.size(); ++i) {
        if (int16_t(flat[i]) != (p.format == 1 ? flats[k][i % 3] : g))
          FAIL() << w << p.format << p.optionQ << " " << k << " " << i;
      }
    }
    for (int orientation : {2, 3, 4}) {
      const std::vector<uint16_t> out = p.Convert(noise, orientation);
      for (std::size_t i = 0; i < out.size(); ++i) {
        const std::size_t row = orientation % 2 ? i / 3 / w : h - 1 - i / 3 / w;
        const std::size_t column = orientation < 3 ? i / 3 % w : w - 1 - i / 3 % w;
        if (out[i] != made[(row * w + column) * 3 + i % 3]) FAIL() << w << p.format << orientation;
      }
    }
  }
}

// Plane values 10 x row - 100, plus 74 right of column 40 (k = 10). The
// colour kernel takes column 4k whole at output column 5k, the grey one
// column 4k + 1 already; column 639 of picture row r takes 4/5 of column 511
// of plane row 4 + r and 1/5 of column 0 of the row below (row 484 at the
// end). Negative fifths truncate toward zero: (-60 + 4 x 14) / 5 is 0.
int Step(int, int y, int x) { return 10 * y - 100 + (x > 40 ? 74 : 0); }
// Plane rows a..d of t = 5 (rows 24..27) at columns 510 and 511 read -10,
// -20; -30, -40; ... and make column 479 of picture rows 15..17:
// (-10 - 14 x 20) / 15, -(50 + 60 + 14 (60 + 80)) / 45, and, the right-hand
// column weighting rows c : d as 2 : 1, -(50 + 140 + 14 (80 + 120)) / 45.
int Corner(int, int y, int x) { return y / 4 == 6 && x >= 510 ? -10 * (2 * y + x - 557) : 0; }
// Even plane rows a ramp -3 x column, odd rows noise that must not show:
// output columns 5g..5g+4 sit at 8g + 0, 1.6, 3.2, 4.8, 6.4, truncated.
int Ramp(int p, int y, int x) { return y % 2 ? Noise(p, y, x) : -3 * x; }

// Green of picture pixels of the colour and the grey kernel (code 1 writes
// the rows and columns as they are made).
TEST(StillKernels, ResamplingPhasesAndEdges) {
  struct Case {
    int (*plane)(int, int, int);
    int size, row, column, colour, grey;
  };
  const Case cases[] = {{Step, 0, 0, 49, -60, -60},      {Step, 0, 0, 50, -60, 14},
                        {Step, 0, 0, 51, 0, 0},          {Step, 0, 0, 639, 1, 1},
                        {Step, 0, 479, 639, 4791, 4791}, {Corner, 1, 15, 479, -19, -19},
                        {Corner, 1, 16, 479, -46, -46},  {Corner, 1, 17, 479, -66, -66},
                        {Ramp, 2, 7, 10, -48, -48},      {Ramp, 2, 7, 11, -52, -52},
                        {Ramp, 2, 8, 12, -57, -57},      {Ramp, 2, 9, 13, -62, -62},
                        {Ramp, 2, 10, 14, -67, -67},     {Ramp, 2, 239, 319, -1531, -1531}};
  for (const Case& c : cases) {
    const std::size_t at = (std::size_t(c.row) * (640 - 160 * c.size) + c.column) * 3 + 1;
    for (int format : {1, 2}) {
      const std::vector<uint16_t> out = Picture{c.size, format, 0}.Convert(Filled(c.plane), 1);
      EXPECT_EQ(int16_t(out[at]), format == 1 ? c.colour : c.grey) << format << " " << at;
    }
  }
}

// The mixes divide by 3 and 7 with a float product: exact over every sum
// the resampled values can form (|R + G + B| <= 3 x 2^15, |2R + 4G + B| <=
// 7 x 2^15).
// The 16-bit lanes divide by a high-half product: exact for every 16-bit
// sum they form (up to 43690 for the grey mix's 7), and for every signed
// 16-bit sum of the mixed 640-wide rows.
TEST(StillKernels, MixQuotientsAreExactOverTheirRanges) {
  for (int32_t x = -(1 << 17); x <= (1 << 17); ++x) ASSERT_EQ(WideningDivide(x, 3), x / 3) << x;
  for (int32_t x = -(1 << 18); x <= (1 << 18); ++x) ASSERT_EQ(WideningDivide(x, 7), x / 7) << x;
  for (int32_t d : {3, 5, 7, 15, 45}) {
    const int32_t last = d == 7 ? 43690 : 65535;
    for (int32_t y = 0; y <= last; ++y) ASSERT_EQ(WideningQuotient(uint16_t(y), d), y / d) << d;
  }
  for (int32_t d : {3, 5, 7}) {
    for (int32_t x = -32768; x <= 32767; ++x)
      ASSERT_EQ(WideningSignedQuotient(int16_t(x), d), x / d) << d << " " << x;
  }
}

// Planes over the full 16-bit range (weighted sums past 16 bits, means of
// -32768 and 32767, components that wrap): every kernel and content writes
// the same components with the vector resampling, narrowing and mixing as
// with the portable code.
TEST(StillKernels, VectorFormsMatchThePortableOnesAtTheExtremes) {
  if (SupportedSimdLevel() != SimdLevel::kAvx512) GTEST_SKIP() << "no AVX-512";
  const Planes extremes = Filled([](int p, int y, int x) {
    const int n = Noise(p, y, x);
    return n % 3 == 0 ? -32768 : n % 3 == 1 ? 32767 : n * 37;
  });
  const SimdLevel before = ActiveSimdLevel();
  for (int n = 0; n < 12; ++n) {
    const Picture p{n / 4, n % 4 == 0 ? 2 : int(n % 4 == 1), n % 4 == 2};
    SetSimdLevel(SimdLevel::kScalar);
    const std::vector<uint16_t> portable = p.Convert(extremes, 4);
    SetSimdLevel(SimdLevel::kAvx512);
    EXPECT_EQ(p.Convert(extremes, 4), portable) << p.size << p.format << p.optionQ;
  }
  SetSimdLevel(before);
}

// The 16-bit lanes serve sums whose samples span at most 1455 (480 wide,
// judged per source column) or rows spanning 13106 (640 wide; as signed
// sums within -6553 .. 6553), and mixed 640-wide rows of samples
// -2048 .. 4192: at and just past each limit, with samples all negative, of both signs and all
// positive (negative sums that truncate toward zero, the largest biased sums), every uint16 form
// gives the portable components.
TEST(StillKernels, SixteenBitLanesMatchThePortableAtTheirSpanLimits) {
  if (SupportedSimdLevel() != SimdLevel::kAvx512) GTEST_SKIP() << "no AVX-512";
  const SimdLevel before = ActiveSimdLevel();
  std::vector<int16_t> rows(12 * 512 + 128);
  const int16_t* plane[3][4];
  for (int p = 0; p < 3; ++p)
    for (int k = 0; k < 4; ++k) plane[p][k] = rows.data() + (4 * p + k) * 512;
  // Components of every form, made on `level`: three 480-wide kinds alone
  // and mixed both ways, then 640-wide rows alone (both phase-0 choices)
  // and mixed.
  auto make = [&](SimdLevel level) {
    SetSimdLevel(level);
    std::vector<uint16_t> out(13 * 640, 7);
    uint16_t* const at[4] = {out.data(), out.data() + 640, out.data() + 1280, nullptr};
    uint16_t* const grey[3] = {at[0] + 1920, at[1] + 1920, at[2] + 1920};
    uint16_t* const mean[3] = {at[0] + 3840, at[1] + 3840, at[2] + 3840};
    WidenSixteenToFifteenRows(plane[1], at);
    WidenSixteenToFifteenMixed(plane[0], plane[1], plane[2], WideningMix::kGrey, grey);
    WidenSixteenToFifteenMixed(plane[0], plane[1], plane[2], WideningMix::kMean, mean);
    uint16_t* wide = out.data() + 9 * 640;
    WidenFourToFive(plane[1][0], 128, wide, false);
    WidenFourToFive(plane[1][0], 128, wide + 640, true);
    WidenFourToFiveMixed(plane[0][0], plane[1][0], plane[2][0], 128, true, WideningMix::kGrey,
                         wide + 1280);
    WidenFourToFiveMixed(plane[0][0], plane[1][0], plane[2][0], 128, false, WideningMix::kMean,
                         wide + 1920);
    return out;
  };
  for (int limit : {1455, 6240, 6553, 6554, 13106}) {
    for (int extra : {0, 1}) {
      const int span = limit + extra;
      // Fill 4: zeros and -1 (sums just below zero, biased by the whole
      // span: the largest sums the lanes adjust), a few -span. Fill 5: the
      // planes' spans far apart (each plane of a 480-wide group takes its
      // own bias). Fill 6: from -2048. Fill 7: from -1.
      for (int fill = 0; fill < 8; ++fill) {
        for (std::size_t i = 0; i < rows.size(); ++i) {
          const int n = Noise(2, int(i / 11), int(i));
          const int plane = int(i / 2048) % 3;
          const int low = fill == 0 || fill == 4 ? -span
                          : fill == 1            ? -span / 3
                          : fill == 5            ? (plane - 2) * span / 2 + (plane == 1)
                          : fill == 6            ? -2048
                          : fill == 7            ? -1
                                                 : 200 * (fill - 2);
          rows[i] = int16_t(fill == 4    ? (i % 997 == 0 ? low : -(n % 5 == 0))
                            : n % 4 == 0 ? low
                            : n % 4 == 1 ? low + span
                                         : low + n % (span + 1));
        }
        EXPECT_EQ(make(SimdLevel::kAvx512), make(SimdLevel::kScalar)) << span << " " << fill;
      }
    }
  }
  // The 480-wide rows judge the span column by column: samples in a band
  // 600 wide at the bottom (or top) of the span, and at one column of one
  // plane a spot at the span's other end, the band's own end in the next
  // row of the group, so that only the sums reading that column see the
  // whole span (in one plane: the mixes take the others narrowly). At the
  // row ends, at the borders of 16 and 32 columns, and at the next row's
  // first (read with weight 0 only). Spans at the limit, just past it, and far
  // past it (where sums that missed the spot would wrap).
  for (int span : {1455, 1456, 4000}) {
    for (int low : {0, -span / 3, -span}) {
      for (bool top : {false, true}) {
        for (int column : {0, 1, 14, 15, 16, 31, 32, 33, 255, 479, 480, 495, 496, 510, 511, 512}) {
          const int base = top ? low + span - 600 : low;
          for (std::size_t i = 0; i < rows.size(); ++i)
            rows[i] = int16_t(base + Noise(3, int(i / 13), int(i)) % 601);
          const int p = column % 3, k = column % 4;
          rows[(4 * p + k) * 512 + column] = int16_t(top ? low : low + span);
          rows[(4 * p + (k + 1) % 4) * 512 + column] = int16_t(top ? low + span : low);
          EXPECT_EQ(make(SimdLevel::kAvx512), make(SimdLevel::kScalar))
              << span << " " << low << " " << top << " " << column;
        }
      }
    }
  }
  SetSimdLevel(before);
}

// The resamplings on their own, over rows of extreme samples and of
// sensor-like ones (which the 16-bit lanes take): every group count (the
// still rows' whole steps and the masked tails other callers use), both
// phase-0 choices, all three kinds, as values and as components: the
// vector forms give the portable results.
TEST(StillKernels, VectorWideningMatchesThePortableForEveryLength) {
  if (SupportedSimdLevel() != SimdLevel::kAvx512) GTEST_SKIP() << "no AVX-512";
  for (bool extreme : {true, false}) {
    std::vector<int16_t> rows(4 * 1024 + 128);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const int n = Noise(0, int(i / 7), int(i));
      rows[i] = int16_t(!extreme     ? n % 1400 - 600
                        : n % 4 == 0 ? -32768
                        : n % 4 == 1 ? 32767
                                     : n * 41);
    }
    const int16_t* r = rows.data();
    const SimdLevel before = ActiveSimdLevel();
    auto both = [&](auto run) {
      std::vector<int32_t> values[2];
      std::vector<uint16_t> components[2];
      for (int v = 0; v < 2; ++v) {
        SetSimdLevel(v ? SimdLevel::kAvx512 : SimdLevel::kScalar);
        values[v].assign(1440, 7), components[v].assign(1440, 7);
        run(values[v].data(), components[v].data());
      }
      return values[0] == values[1] && components[0] == components[1];
    };
    for (int groups = 1; groups <= 260; ++groups) {
      for (bool shifted : {false, true}) {
        EXPECT_TRUE(both([&](int32_t* v, uint16_t* c) {
          WidenFourToFive(r + groups, groups, v, shifted);
          WidenFourToFive(r + groups, groups, c, shifted);
        })) << groups
            << shifted;
      }
      if (groups <= 128) {
        EXPECT_TRUE(both([&](int32_t* v, uint16_t* c) {
          WidenEightToFive(r + 3 * groups, groups, v);
          WidenEightToFive(r + 3 * groups, groups, c);
        })) << groups;
      }
    }
    for (int kind = 0; kind < 3; ++kind) {
      EXPECT_TRUE(both([&](int32_t* v, uint16_t* c) {
        WidenSixteenToFifteen(r, r + 1024, r + 2048, r + 3072, kind, v);
        WidenSixteenToFifteen(r, r + 1024, r + 2048, r + 3072, kind, c);
      })) << kind;
    }
    const int16_t* const group[4] = {r, r + 1024, r + 2048, r + 3072};
    EXPECT_TRUE(both([&](int32_t* v, uint16_t* c) {
      int32_t* const values[3] = {v, v + 480, v + 960};
      uint16_t* const components[3] = {c, c + 480, c + 960};
      WidenSixteenToFifteenRows(group, values);
      WidenSixteenToFifteenRows(group, components);
    })) << extreme;
    SetSimdLevel(before);
  }
}

// The 640-wide 16-bit lanes gather each output vector's samples from one
// window of the row and judge the row's span from the samples they load:
// a single sample past the span (above or below) at any place a row takes,
// in any plane, must send the row to the 32-bit sums. Rows of sensor-like
// samples (which the lanes take), the spot at every sample of a row of
// 128 groups, both phase-0 choices, alone and mixed both ways: the vector
// forms give the portable components.
TEST(StillKernels, FourToFiveLanesSeeEverySampleTheyTake) {
  if (SupportedSimdLevel() != SimdLevel::kAvx512) GTEST_SKIP() << "no AVX-512";
  const SimdLevel before = ActiveSimdLevel();
  std::vector<int16_t> rows(3 * 512 + 128);
  for (std::size_t i = 0; i < rows.size(); ++i)
    rows[i] = int16_t(Noise(4, int(i / 3), int(i)) % 1500 - 500);
  const int16_t* const plane[3] = {rows.data(), rows.data() + 512, rows.data() + 1024};
  auto make = [&](SimdLevel level, int p) {
    SetSimdLevel(level);
    std::vector<uint16_t> out(4 * 640, 7);
    WidenFourToFive(plane[p], 128, out.data(), false);
    WidenFourToFive(plane[p], 128, out.data() + 640, true);
    WidenFourToFiveMixed(plane[0], plane[1], plane[2], 128, true, WideningMix::kGrey,
                         out.data() + 1280);
    WidenFourToFiveMixed(plane[0], plane[1], plane[2], 128, false, WideningMix::kMean,
                         out.data() + 1920);
    return out;
  };
  for (int spot : {-32768, 32767}) {
    for (int p = 0; p < 3; ++p) {
      for (int at = 0; at <= 512; ++at) {
        int16_t& sample = rows[std::size_t(512 * p + at)];
        const int16_t kept = sample;
        sample = int16_t(spot);
        EXPECT_EQ(make(SimdLevel::kAvx512, p), make(SimdLevel::kScalar, p))
            << spot << " " << p << " " << at;
        sample = kept;
      }
    }
  }
  SetSimdLevel(before);
}

// A group's three rows made at once, alone or mixed from three planes, and
// the 640- and 320-wide rows mixed as they are resampled, equal the rows
// made one by one and mixed afterwards, on rows of extreme samples (the
// largest sums the divisions see), of sensor-like ones (which the 16-bit
// lanes take) and of sensor-like ones with scattered bright and dark spots
// (the lanes near a spot take the 32-bit sums), on both code paths.
TEST(StillKernels, GroupedRowsEqualTheRowsMadeOneByOne) {
  std::vector<int16_t> rows(3 * 4 * 512 + 128);
  const int16_t* plane[3][4];
  for (int p = 0; p < 3; ++p)
    for (int k = 0; k < 4; ++k) plane[p][k] = rows.data() + (4 * p + k) * 512;
  const SimdLevel before = ActiveSimdLevel();
  for (int run = 0; run < 6; ++run) {
    const SimdLevel level = run % 2 ? SupportedSimdLevel() : SimdLevel::kScalar;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const int n = Noise(1, int(i / 5), int(i));
      rows[i] = int16_t(run >= 4 && n % 89 == 0 ? (n % 2 ? 9000 : -5000)
                        : run >= 2              ? n % 1200 - 400
                        : n % 3 == 0            ? -32768
                        : n % 3 == 1            ? 32767
                                                : n * 37);
    }
    SetSimdLevel(level);
    std::vector<int32_t> value[3][3];  // [plane][kind], one by one
    for (int p = 0; p < 3; ++p)
      for (int kind = 0; kind < 3; ++kind) {
        value[p][kind].assign(480, 0);
        WidenSixteenToFifteen(plane[p][0], plane[p][1], plane[p][2], plane[p][3], kind,
                              value[p][kind].data());
      }
    std::vector<int32_t> values[3];
    std::vector<uint16_t> components[3], grey[3], mean[3];
    for (auto* lines : {&components, &grey, &mean})
      for (auto& line : *lines) line.assign(480, 7);
    for (auto& line : values) line.assign(480, 7);
    int32_t* const valueLines[3] = {values[0].data(), values[1].data(), values[2].data()};
    uint16_t* const componentLines[3] = {components[0].data(), components[1].data(),
                                         components[2].data()};
    uint16_t* const greyLines[3] = {grey[0].data(), grey[1].data(), grey[2].data()};
    uint16_t* const meanLines[3] = {mean[0].data(), mean[1].data(), mean[2].data()};
    WidenSixteenToFifteenRows(plane[1], valueLines);
    WidenSixteenToFifteenRows(plane[1], componentLines);
    WidenSixteenToFifteenMixed(plane[0], plane[1], plane[2], WideningMix::kGrey, greyLines);
    WidenSixteenToFifteenMixed(plane[0], plane[1], plane[2], WideningMix::kMean, meanLines);
    for (int kind = 0; kind < 3; ++kind) {
      std::vector<uint16_t> narrowed(480), greyOne(480), meanOne(480);
      for (int c = 0; c < 480; ++c) narrowed[c] = uint16_t(value[1][kind][c]);
      MixGrey(value[0][kind].data(), value[1][kind].data(), value[2][kind].data(), 480,
              greyOne.data());
      MixMean(value[0][kind].data(), value[1][kind].data(), value[2][kind].data(), 480,
              meanOne.data());
      EXPECT_EQ(values[kind], value[1][kind]) << kind;
      EXPECT_EQ(components[kind], narrowed) << kind;
      EXPECT_EQ(grey[kind], greyOne) << kind;
      EXPECT_EQ(mean[kind], meanOne) << kind;
    }
    // The 640- and 320-wide rows mixed in one step (each reads into the row
    // after its own, as the planes allow).
    for (WideningMix mix : {WideningMix::kGrey, WideningMix::kMean}) {
      auto mixed = [mix](const std::vector<int32_t>* v, int n) {
        std::vector<uint16_t> out(n);
        (mix == WideningMix::kGrey ? MixGrey : MixMean)(v[0].data(), v[1].data(), v[2].data(), n,
                                                        out.data());
        return out;
      };
      std::vector<int32_t> one[3];
      for (bool shifted : {false, true}) {
        for (int p = 0; p < 3; ++p) {
          one[p].assign(640, 0);
          WidenFourToFive(plane[p][0], 128, one[p].data(), shifted);
        }
        std::vector<uint16_t> row(640, 7);
        WidenFourToFiveMixed(plane[0][0], plane[1][0], plane[2][0], 128, shifted, mix, row.data());
        EXPECT_EQ(row, mixed(one, 640)) << shifted;
      }
      for (int p = 0; p < 3; ++p) {
        one[p].assign(320, 0);
        WidenEightToFive(plane[p][0], 64, one[p].data());
      }
      std::vector<uint16_t> row(320, 7);
      WidenEightToFiveMixed(plane[0][0], plane[1][0], plane[2][0], 64, mix, row.data());
      EXPECT_EQ(row, mixed(one, 320));
    }
  }
  SetSimdLevel(before);
}

}  // namespace
}  // namespace vobrex
