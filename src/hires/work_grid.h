// The work grid of the high-resolution path: three planes of 1024 x 1024
// signed 16-bit sites, stored one after another in the order red, blue,
// green, each row by row. Every stage addresses a site by its flat offset
// from the red plane's origin, so a neighbour read off a plane's edge lands
// in the adjacent row or plane; keeping the planes in one block in this
// order is part of the design.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/memory.h"

namespace vobrex {

inline constexpr int kGridSide = 1024;
inline constexpr std::ptrdiff_t kPlaneSites = std::ptrdiff_t{kGridSide} * kGridSide;
inline constexpr std::ptrdiff_t kGridSites = 3 * kPlaneSites;  // 6,291,456 bytes
// Groups of four rows: one line of each exposure's line blocks.
inline constexpr int kGridGroups = kGridSide / 4;
// Zeroed rows before the red plane and after the green plane. The passes
// stay inside the three planes, but a step near an edge (the six-column
// copy of the red row fill, a detector's reach of three rows) must never
// leave the block, whatever the planes hold.
inline constexpr std::ptrdiff_t kGridSlack = 8 * std::ptrdiff_t{kGridSide};
inline constexpr std::ptrdiff_t kGridBlockSites = kGridSites + 2 * kGridSlack;

// Plane indices in the block.
inline constexpr int kRedPlane = 0;
inline constexpr int kBluePlane = 1;
inline constexpr int kGreenPlane = 2;

// Plane selectors as the stages pass them to each other.
inline constexpr int kRedSelector = 1;
inline constexpr int kBlueSelector = 2;
inline constexpr int kGreenSelector = 3;

// A view of the planes inside a block from AllocateWorkGrid. A conversion
// that streams the grid through a window of rows views the window with a
// shorter distance between the planes and an origin that sits where row 0
// would be; only the rows inside the window may then be touched.
struct WorkGrid {
  int16_t* origin = nullptr;                // red plane, row 0, column 0
  std::ptrdiff_t planeSites = kPlaneSites;  // from one plane's row 0 to the next's

  int16_t* Plane(int plane) const { return origin + plane * planeSites; }
  static std::ptrdiff_t Offset(int row, int col) {
    return static_cast<std::ptrdiff_t>(row) * kGridSide + col;
  }
  int16_t& At(int plane, int row, int col) const { return Plane(plane)[Offset(row, col)]; }
};

// The plane a selector names, or null for a selector that names none.
inline int16_t* PlaneOfSelector(const WorkGrid& grid, int selector) {
  if (selector < kRedSelector || selector > kGreenSelector) return nullptr;
  return grid.Plane(selector - 1);
}

// A zeroed block: sites that no pass writes read 0. Empty on failure. A
// caller that clears every part before it is read asks for it unzeroed.
inline Owned<int16_t> AllocateWorkGrid(bool zeroed = true) {
  return AllocateArray<int16_t>(static_cast<std::size_t>(kGridBlockSites), zeroed);
}

inline WorkGrid GridOf(const Owned<int16_t>& block) { return WorkGrid{block.get() + kGridSlack}; }

}  // namespace vobrex
