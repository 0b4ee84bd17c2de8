#include "hires/hires_driver.h"

#include <algorithm>
#include <cstdint>

#include "hires/exposure_assembly.h"
#include "hires/hires_resample.h"
#include "hires/plane_completion.h"
#include "hires/work_grid.h"
#include "platform/trace.h"
#include "still/picture_rows.h"

namespace vobrex {
namespace {

// Assembles the exposures and completes the three planes, in this fixed
// order. The line-block levelling runs only while the raw-sample defect
// pass is off; the setting is read before each levelling.
void PreparePlanes(const Camera& cam, const int16_t* samples, const WorkGrid& grid) {
  PlaceGreen(samples, grid);
  if (cam.modes.defectFixOn == 0) LevelLineBlocks(grid, kGreenSelector);
  CompleteGreen(grid);
  PlaceRed(samples, grid);
  PlaceBlue(samples, grid);
  FillRedRows(grid);
  FillBlueRows(grid);
  if (cam.modes.defectFixOn == 0) LevelLineBlocks(grid, kBlueSelector);
  if (cam.modes.defectFixOn == 0) LevelLineBlocks(grid, kRedSelector);
  CompleteRed(grid);
  CompleteBlue(grid);
}

// The streamed conversion works in a window of rows of each plane instead
// of the whole grid: kWindowRows rows a plane, each plane after
// kWindowSlack zeroed rows (the green completion of row 2 reads the row
// above the green plane's top, which the whole grid has zeroed in the blue
// plane's last row), and zeroed rows after the last plane. Every stage
// reaches at most kWindowMargin rows above the group being placed, so when
// the next group would pass the window's end the window moves down: its
// last kWindowMargin rows become its first.
constexpr int kWindowRows = 96;
constexpr int kWindowMargin = 20;
constexpr int kWindowSlack = 8;
constexpr std::ptrdiff_t kWindowPlaneSites = std::ptrdiff_t{kWindowRows + kWindowSlack} * kGridSide;
constexpr std::ptrdiff_t kWindowSites = kWindowSlack * kGridSide + 3 * kWindowPlaneSites;

// The grid view of a window holding rows base .. base + kWindowRows - 1.
WorkGrid WindowGrid(int16_t* block, int base) {
  return WorkGrid{block + WorkGrid::Offset(kWindowSlack - base, 0), kWindowPlaneSites};
}

// The rows of group g whose completed sites the output never reads, and
// that the completions may therefore fill only at their ends.
unsigned EndsOnly(HiresResampler which, int width, int g) {
  unsigned rows = 0;
  for (int j = 0; j < 4; ++j) {
    if (!ResampleReadsAcrossRow(which, width, 4 * g + j)) rows |= 1u << j;
  }
  return rows;
}

// PreparePlanes and the resampling into `rows`, streamed over the groups of
// four grid rows so that each group passes through every stage while it is
// in cache. Each stage runs on a group as soon as every site it reads
// holds the value the whole-plane order would give it there, and before any
// later stage changes a site it reads; with group k just placed:
// - green band k - 1: its rows go up to 4k + 3;
// - green completion, red and blue fills of group k - 2: they read green
//   checkerboard sites up to row 4k - 4, final once band k - 1 is levelled,
//   and red and blue sites up to row 4k - 4 that no levelling has touched
//   yet (the red fill reads the blue of its rows, which blue band k - 2
//   levels only later);
// - blue and red bands k - 3: their rows up to 4k - 5 are filled, and the
//   fills that read rows 4k - 12 and 4k - 11 before levelling have run;
// - red and blue completion of group k - 4: they read up to row 4k - 12,
//   levelled by band k - 3, and the red fill's reads of unfilled sites of
//   these rows (off the right edge of a step) came before;
// - output rows whose grid rows are all complete: those still to come read
//   up to a row past 4k - 17 (the earlier ones were handed on before), and
//   each reads at most two rows above its last.
// The lowest row any of them reads is 4k - 18 (the output rows; the red
// completion reads 4k - 17, its first site over the end of the row
// above); the window keeps two rows more.
template <class Place>
void StreamPlanes(const Camera& cam, Place place, int16_t* window, HiresResampler which, int width,
                  int height, int orientation, StillRows& rows) {
  const bool level = cam.modes.defectFixOn == 0;
  for (int slack = 0; slack < 4; ++slack) {
    int16_t* zeroed = window + slack * kWindowPlaneSites;
    std::fill(zeroed, zeroed + kWindowSlack * kGridSide, int16_t{0});
  }
  int base = 0;
  WorkGrid grid = WindowGrid(window, base);
  int nextRow = 0;  // the next output row
  // Between two green completions only green rows below those the first
  // read change (placement, green levelling), and the window's moves keep
  // the rows' values.
  GreenRows known;
  for (int k = 0; k < kGridGroups + 4; ++k) {
    if (k < kGridGroups) {
      if (4 * k + 4 > base + kWindowRows) {
        const int moved = 4 * k - kWindowMargin;
        for (int plane = 0; plane < 3; ++plane) {
          const int16_t* from = grid.Plane(plane) + WorkGrid::Offset(moved, 0);
          std::copy(from, from + kWindowMargin * kGridSide,
                    window + WorkGrid::Offset(kWindowSlack, 0) + plane * kWindowPlaneSites);
        }
        base = moved;
        grid = WindowGrid(window, base);
      }
      place(grid, k);
    }
    const int band = k - 1;
    if (level && band >= 0 && band <= kLastLevelBand) LevelBand(grid.Plane(kGreenPlane), band);
    const int filled = k - 2;
    if (filled >= 0 && filled < kGridGroups) {
      CompleteGreenGroup(grid, filled, EndsOnly(which, width, filled), &known);
      FillRedGroup(grid, filled);
      FillBlueGroup(grid, filled);
    }
    const int levelled = k - 3;
    if (level && levelled >= 0 && levelled <= kLastLevelBand) {
      LevelBand(grid.Plane(kBluePlane), levelled);
      LevelBand(grid.Plane(kRedPlane), levelled);
    }
    const int completed = k - 4;
    if (completed >= 0) {
      CompleteRedGroup(grid, completed, EndsOnly(which, width, completed));
      CompleteBlueGroup(grid, completed, EndsOnly(which, width, completed));
      int end = nextRow;
      while (end < height && LastGridRowRead(which, width, end) <= 4 * completed + 3) ++end;
      ResampleRowSpan(grid, which, width, height, orientation, rows, nextRow, end);
      nextRow = end;
      // The rows below the last one read reach nothing observable.
      if (nextRow == height) break;
    }
  }
}

enum class Choice { kResample, kNull };

// Picks the resampler by output kind and sensor sub-mode. An unknown
// sub-mode resets the code-40 geometry to sub-mode 0 and uses that size.
Choice ChooseResampler(Camera& cam, HiresResampler& which) {
  const int format = cam.modes.outputFormat;
  if (format == 2) return Choice::kNull;
  if (format != 0 && format != 1) {
    Trace("vobrex32 : MakerasterWarpframe : returns NULL \n");
    return Choice::kNull;
  }
  const bool grey = format == 0;
  switch (cam.modes.sensorMode) {
    case 0: which = grey ? HiresResampler::kA0 : HiresResampler::kB0; break;
    case 1: which = grey ? HiresResampler::kA1 : HiresResampler::kB1; break;
    case 2: which = grey ? HiresResampler::kA2 : HiresResampler::kB2; break;
    default:
      Trace("vobrex32 : MakeRasterWarp : Paramter Error\n");
      SetResolution(cam, 40, 0);
      which = grey ? HiresResampler::kA0 : HiresResampler::kB0;
      break;
  }
  return Choice::kResample;
}

}  // namespace

namespace {

// The conversion up to the resampling; `resample(which, width, height,
// orientation, capacity)` runs the chosen resampler. The order of the
// stages is that of ConvertHighRes.
template <class Resample>
bool RunHighRes(Camera& cam, Owned<int16_t>& samples, Resample resample) {
  if (!samples) return false;
  Owned<int16_t> block = AllocateWorkGrid();
  if (!block) {
    Trace("vobrex32 : MakerasterWarp : TmpBuf is NULL \n");
    return false;
  }
  const WorkGrid grid = GridOf(block);
  PreparePlanes(cam, samples.get(), grid);
  samples.reset();

  const int orientation = OrientationCode(cam.modes);
  // The output holds imageBytes components as the settings give them now;
  // a sub-mode fall-back below resizes the image but not the buffer.
  const uint32_t capacity = cam.modes.imageBytes;
  HiresResampler which{};
  if (ChooseResampler(cam, which) == Choice::kNull) return false;
  // The settings can hold any size. A size whose pixels would not all land
  // inside imageBytes components, or whose reads would leave the grid,
  // cannot be served: null, with nothing written.
  const int width = cam.modes.width;
  const int height = cam.modes.height;
  if (!ResampleFits(which, width, height, orientation, capacity)) return false;
  return resample(grid, which, width, height, orientation, capacity);
}

}  // namespace

Owned<uint16_t> ConvertHighRes(Camera& cam, Owned<int16_t>& samples) {
  Owned<uint16_t> out;
  const bool done = RunHighRes(cam, samples,
                               [&out](const WorkGrid& grid, HiresResampler which, int width,
                                      int height, int orientation, uint32_t capacity) {
                                 out = AllocateArray<uint16_t>(capacity, true);
                                 if (!out) return false;
                                 Resample(grid, which, width, height, orientation, out.get());
                                 return true;
                               });
  if (!done) return nullptr;
  return out;
}

namespace {

// The resampler of a known output format and sub-mode, chosen without the
// fall-back ChooseResampler makes for others; false for the others.
bool KnownResampler(const CameraModes& m, HiresResampler& which) {
  const bool grey = m.outputFormat == 0;
  if (m.outputFormat != 0 && m.outputFormat != 1) return false;
  switch (m.sensorMode) {
    case 0: which = grey ? HiresResampler::kA0 : HiresResampler::kB0; return true;
    case 1: which = grey ? HiresResampler::kA1 : HiresResampler::kB1; return true;
    case 2: which = grey ? HiresResampler::kA2 : HiresResampler::kB2; return true;
    default: return false;
  }
}

// The window's rows start on 64-byte lines, so that whole-vector loads
// and stores at a row's columns 0, 32, 64, .. touch one line each.
int16_t* AlignedWindow(const Owned<int16_t>& block) {
  const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(block.get());
  return block.get() + (64 - address % 64) % 64 / 2;
}

template <class Place>
void StreamRows(Camera& cam, Place place, const Owned<int16_t>& block, StillRows& rows,
                std::size_t& written) {
  HiresResampler which{};
  KnownResampler(cam.modes, which);
  const int width = cam.modes.width, height = cam.modes.height;
  StreamPlanes(cam, place, AlignedWindow(block), which, width, height, OrientationCode(cam.modes),
               rows);
  written = static_cast<std::size_t>(width) * height * 3;
}

}  // namespace

// With a known output format and sub-mode the choice of the resampler
// rewrites no setting, and it and the fit depend on the settings alone:
// they can come first, and a size that fits streams the grid through a
// window, when every row read lies inside the grid and is complete before
// the window moves past it.
bool HighResStreams(const Camera& cam) {
  const CameraModes& m = cam.modes;
  HiresResampler which{};
  return KnownResampler(m, which) &&
         ResampleFits(which, m.width, m.height, OrientationCode(m), m.imageBytes) &&
         ResampleWritesWholeRows(which, m.width, m.height) &&
         LastGridRowRead(which, m.width, m.height - 1) < kGridSide - 8;
}

Owned<int16_t> AllocateHighResWindow() { return AllocateArray<int16_t>(kWindowSites + 32); }

void StreamHighResRows(Camera& cam, const ExposureLines& lines, const Owned<int16_t>& window,
                       StillRows& rows, std::size_t& written) {
  int16_t buffer[8][kExposureLineSamples];
  const int16_t* const placed[8] = {buffer[0], buffer[1], buffer[2], buffer[3],
                                    buffer[4], buffer[5], buffer[6], buffer[7]};
  StreamRows(
      cam,
      [&](const WorkGrid& grid, int y) {
        for (int block = 0; block < 8; ++block) lines.Read(block, y, buffer[block]);
        PlaceLines(placed, grid, y);
      },
      window, rows, written);
}

bool ConvertHighResRows(Camera& cam, Owned<int16_t>& samples, StillRows& rows,
                        Owned<uint16_t>& converted, std::size_t& written) {
  written = 0;
  if (!samples) return false;
  // Every record the stream cannot serve takes the whole grid, with its
  // refusals where they were.
  if (HighResStreams(cam)) {
    Owned<int16_t> block = AllocateHighResWindow();
    if (!block) {
      Trace("vobrex32 : MakerasterWarp : TmpBuf is NULL \n");
      return false;
    }
    StreamRows(
        cam,
        [&samples](const WorkGrid& grid, int y) {
          PlaceLines(samples.get(), grid, y);
          // The frame is placed whole: its buffer can go.
          if (y == kGridGroups - 1) samples.reset();
        },
        block, rows, written);
    samples.reset();
    return true;
  }
  return RunHighRes(cam, samples,
                    [&](const WorkGrid& grid, HiresResampler which, int width, int height,
                        int orientation, uint32_t capacity) {
                      if (ResampleWritesWholeRows(which, width, height)) {
                        ResampleRows(grid, which, width, height, orientation, rows);
                        written = static_cast<std::size_t>(width) * height * 3;
                        return true;
                      }
                      converted = AllocateArray<uint16_t>(capacity, true);
                      if (!converted) return false;
                      Resample(grid, which, width, height, orientation, converted.get());
                      return true;
                    });
}

}  // namespace vobrex
