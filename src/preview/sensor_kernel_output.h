// What the sensor-mode kernels share: the averages of their tables and the
// placement of an output line in the bottom-up buffer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vobrex {

// Each value halved before the sum: two odd values lose their low bit.
inline int HalvingAverage(int a, int b) { return (a >> 1) + (b >> 1); }
inline int TrueAverage(int a, int b) { return (a + b) >> 1; }
inline int TrueAverage4(int a, int b, int c, int d) { return (a + b + c + d) >> 2; }

// How a kernel reads an orientation code outside 1..4.
enum class OtherCodes { kAsCode1, kAsCode2 };

// Writes the pixels of one output line, pixel 0 first, wherever the
// orientation code puts them: codes 2 and 4 put line 0 in the last buffer
// row (the top of a bottom-up picture), codes 1 and 3 in the first; codes 3
// and 4 run the line right to left.
class LineWriter {
 public:
  LineWriter(uint8_t* rgb, int32_t width, int32_t height, int32_t line, int orientation,
             OtherCodes other) {
    int code = orientation;
    if (code < 1 || code > 4) code = other == OtherCodes::kAsCode1 ? 1 : 2;
    const bool topDown = code == 2 || code == 4;
    const bool rightToLeft = code == 3 || code == 4;
    const int32_t row = topDown ? height - 1 - line : line;
    uint8_t* start = rgb + static_cast<std::ptrdiff_t>(row) * width * 3;
    next_ = rightToLeft ? start + static_cast<std::ptrdiff_t>(width - 1) * 3 : start;
    step_ = rightToLeft ? -3 : 3;
  }

  void Put(int blue, int green, int red) {
    next_[0] = static_cast<uint8_t>(blue);
    next_[1] = static_cast<uint8_t>(green);
    next_[2] = static_cast<uint8_t>(red);
    next_ += step_;
  }
  void PutGrey(int value) { Put(value, value, value); }

 private:
  uint8_t* next_;
  std::ptrdiff_t step_;
};

}  // namespace vobrex
