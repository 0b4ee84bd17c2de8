// Kernels A and D on the full read-out: 512 columns to 320 or 640 pixels.
#include "preview/sensor_kernel_output.h"
#include "preview/sensor_kernels.h"
#include "preview/sensor_kernels_full_vector.h"

namespace vobrex {

namespace {

const uint8_t* FirstField(const uint8_t* raw, int32_t line) { return raw + line * kFullColumns; }
const uint8_t* SecondField(const uint8_t* raw, int32_t line) {
  return raw + kFullSecondField + line * kFullColumns;
}

constexpr int32_t kGroupsA = kFullColumns / 8;  // 8 columns to 5 pixels
constexpr int32_t kGroupsD = kFullColumns / 4;  // 4 columns to 5 pixels

}  // namespace

// A group of 8 columns gives 5 pixels: blue from the odd columns of the
// first-field line, red (even) and green (odd) from the second-field line.
// Pixel 319 would need column 512 for its red, which is the next line, so
// it repeats pixel 318 instead.
void KernelA1(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunKernelAVector(raw, rgb, orientation, true)) return;
  for (int32_t y = 0; y < kSizeA.height; ++y) {
    const uint8_t* first = FirstField(raw, y + kFullFirstPictureLine);
    const uint8_t* second = SecondField(raw, y + kFullFirstPictureLine);
    LineWriter out(rgb, kSizeA.width, kSizeA.height, y, orientation, OtherCodes::kAsCode1);
    for (int32_t g = 0; g < kGroupsA; ++g) {
      const uint8_t* b = first + 8 * g;
      const uint8_t* s = second + 8 * g;
      const int b1 = b[1], b3 = b[3], b5 = b[5], b7 = b[7];
      const int r0 = s[0], r2 = s[2], r4 = s[4], r6 = s[6];
      const int g1 = s[1], g3 = s[3], g5 = s[5], g7 = s[7];
      out.Put(b1, g1, HalvingAverage(r0, r2));
      out.Put(HalvingAverage(b1, b3), HalvingAverage(g3, g1), r2);
      out.Put(HalvingAverage(b5, b3), HalvingAverage(g5, g3), r4);
      const int blue3 = HalvingAverage(b7, b5), green3 = HalvingAverage(g7, g5);
      out.Put(blue3, green3, r6);
      if (g + 1 < kGroupsA) {
        out.Put(b7, g7, HalvingAverage(r6, s[8]));
      } else {
        out.Put(blue3, green3, r6);
      }
    }
  }
}

// The green of A1 (second-field greens, halving averages, the last pixel
// repeating its neighbour) in all three bytes.
void KernelA0(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunKernelAVector(raw, rgb, orientation, false)) return;
  for (int32_t y = 0; y < kSizeA.height; ++y) {
    const uint8_t* second = SecondField(raw, y + kFullFirstPictureLine);
    LineWriter out(rgb, kSizeA.width, kSizeA.height, y, orientation, OtherCodes::kAsCode1);
    for (int32_t g = 0; g < kGroupsA; ++g) {
      const uint8_t* s = second + 8 * g;
      const int g1 = s[1], g3 = s[3], g5 = s[5], g7 = s[7];
      out.PutGrey(g1);
      out.PutGrey(HalvingAverage(g3, g1));
      out.PutGrey(HalvingAverage(g5, g3));
      const int green3 = HalvingAverage(g7, g5);
      out.PutGrey(green3);
      out.PutGrey(g + 1 < kGroupsA ? g7 : green3);
    }
  }
}

namespace {

// The samples of D around one group: field lines L and L + 1 of both
// fields, read through flat line pointers so that a column past 511 runs
// into the following line of the same field, as the field is stored.
struct FieldPair {
  const uint8_t* f1;  // first field, line L
  const uint8_t* f1Next;
  const uint8_t* f2;  // second field, line L
  const uint8_t* f2Next;
};

FieldPair PairAt(const uint8_t* raw, int32_t line) {
  return {FirstField(raw, line), FirstField(raw, line + 1), SecondField(raw, line),
          SecondField(raw, line + 1)};
}

// Output line 2i: blue and green from the first field, red from the second.
// `c` is the group's first column; at c = 0 the terms left of it are dropped.
void GroupEvenLineD1(const FieldPair& p, int32_t c, LineWriter& out) {
  const uint8_t* a = p.f1 + c;
  const uint8_t* n = p.f1Next + c;
  const uint8_t* s = p.f2 + c;
  const int red0 = c == 0 ? s[0] : TrueAverage(s[-2], s[0]);
  out.Put(TrueAverage(a[1], n[1]), a[0], red0);
  out.Put(TrueAverage4(a[1], a[3], n[1], n[3]), TrueAverage(a[0], a[2]), s[0]);
  const int blue2 = TrueAverage(a[3], n[3]), red2 = TrueAverage(s[0], s[2]);
  out.Put(blue2, a[2], red2);
  out.Put(blue2, a[2], red2);
  out.Put(TrueAverage4(a[3], a[5], n[3], n[5]), TrueAverage(a[2], a[4]), s[2]);
}

// Output line 2i + 1: blue from the first field, green and red from the second.
void GroupOddLineD1(const FieldPair& p, int32_t c, LineWriter& out) {
  const uint8_t* a = p.f1 + c;
  const uint8_t* s = p.f2 + c;
  const uint8_t* t = p.f2Next + c;
  const int green0 = c == 0 ? s[1] : TrueAverage(s[-1], s[1]);
  const int red0 = c == 0 ? TrueAverage(s[0], t[0]) : TrueAverage4(s[-2], s[0], t[-2], t[0]);
  out.Put(a[1], green0, red0);
  out.Put(TrueAverage(a[1], a[3]), s[1], TrueAverage(s[0], t[0]));
  const int green2 = TrueAverage(s[1], s[3]), red2 = TrueAverage4(s[0], s[2], t[0], t[2]);
  out.Put(a[3], green2, red2);
  out.Put(a[3], green2, red2);
  out.Put(TrueAverage(a[3], a[5]), s[3], TrueAverage(s[2], t[2]));
}

void GroupEvenLineD0(const FieldPair& p, int32_t c, LineWriter& out) {
  const uint8_t* a = p.f1 + c;
  out.PutGrey(a[0]);
  out.PutGrey(TrueAverage(a[0], a[2]));
  out.PutGrey(a[2]);
  out.PutGrey(a[2]);
  out.PutGrey(TrueAverage(a[2], a[4]));
}

void GroupOddLineD0(const FieldPair& p, int32_t c, LineWriter& out) {
  const uint8_t* s = p.f2 + c;
  out.PutGrey(c == 0 ? s[1] : TrueAverage(s[-1], s[1]));
  out.PutGrey(s[1]);
  const int green2 = TrueAverage(s[1], s[3]);
  out.PutGrey(green2);
  out.PutGrey(green2);
  out.PutGrey(s[3]);
}

template <void (*EvenGroup)(const FieldPair&, int32_t, LineWriter&),
          void (*OddGroup)(const FieldPair&, int32_t, LineWriter&)>
void RunD(const uint8_t* raw, uint8_t* rgb, int orientation) {
  for (int32_t i = 0; i < kFullPictureLines; ++i) {
    const FieldPair pair = PairAt(raw, kFullFirstPictureLine + i);
    LineWriter even(rgb, kSizeD.width, kSizeD.height, 2 * i, orientation, OtherCodes::kAsCode2);
    LineWriter odd(rgb, kSizeD.width, kSizeD.height, 2 * i + 1, orientation, OtherCodes::kAsCode2);
    for (int32_t k = 0; k < kGroupsD; ++k) {
      EvenGroup(pair, 4 * k, even);
      OddGroup(pair, 4 * k, odd);
    }
  }
}

}  // namespace

// Line pair L, L + 1 of the fields (L = 4 + i) gives output lines 2i and
// 2i + 1. The last group's columns 512 and 513 are columns 0 and 1 of the
// next field line; every line reads at most field line 245.
void KernelD1(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunKernelDVector(raw, rgb, orientation, true)) return;
  RunD<GroupEvenLineD1, GroupOddLineD1>(raw, rgb, orientation);
}

// The green of D1 in all three bytes: first-field greens on even output
// lines, second-field greens on odd ones.
void KernelD0(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunKernelDVector(raw, rgb, orientation, false)) return;
  RunD<GroupEvenLineD0, GroupOddLineD0>(raw, rgb, orientation);
}

}  // namespace vobrex
