// Pictures handed on one row at a time: a conversion's kernel gives each
// memory row as component lines, and its destination (a converted buffer,
// or the caller's pixels packed as the rows come) takes them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vobrex {

// The widest row handed on (the high-resolution still's 1260 pixels).
inline constexpr int kRowsMaxWidth = 1260;

// A picture row as a kernel leaves it: the blue, green and red components
// of each pixel in picture order, left to right (a grey row gives the same
// line three times).
struct StillRowComponents {
  const uint16_t* blue;
  const uint16_t* green;
  const uint16_t* red;
};

// Where a kernel writes its pictures, one memory row at a time, in the
// order the orientation gives (`reversed`: the row runs right to left in
// memory). A converted buffer interleaves the components into its rows; the
// still core packs them into the caller's pixels as they come.
class StillRows {
 public:
  virtual ~StillRows() = default;
  virtual void PutRow(int memoryRow, int width, bool reversed, const StillRowComponents& row) = 0;
};

// The rows of a converted buffer.
class StillArray final : public StillRows {
 public:
  explicit StillArray(uint16_t* out) : out_(out) {}
  void PutRow(int memoryRow, int width, bool reversed, const StillRowComponents& row) override {
    uint16_t* pixel = out_ + static_cast<std::ptrdiff_t>(memoryRow) * width * 3;
    for (int c = 0; c < width; ++c, pixel += 3) {
      const int from = reversed ? width - 1 - c : c;
      pixel[0] = row.blue[from];
      pixel[1] = row.green[from];
      pixel[2] = row.red[from];
    }
  }

 private:
  uint16_t* out_;
};

// Storage for the component lines of one row.
struct StillComponentLines {
  uint16_t blue[kRowsMaxWidth];
  uint16_t green[kRowsMaxWidth];
  uint16_t red[kRowsMaxWidth];
};

}  // namespace vobrex
