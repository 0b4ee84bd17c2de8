// A general vector form of the sensor-mode kernels, for the kernels without
// a dedicated one (the wide F1).
//
// Every output byte of a preview kernel is a weighted sum of a few raw
// samples, rounded and shifted: (sum of weight x sample + round) >> shift,
// where a sample comes from one of at most four raw lines (two of each
// field) and the halving average halves each sample first. A kernel
// describes that formula for every byte of an output line (its scalar code
// in formula form); the engine compiles the formulas of a line into chunks
// of a few whole pixel groups, each a set of byte-gather indices and
// weights over 64-byte windows of the lines, and runs them with 64-byte
// permutes and multiply-adds. Chunks whose formulas repeat (the pixel
// groups of a line) share one compiled form, so the compiled kernel is a
// few kilobytes and stays in the first-level cache.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "preview/sensor_kernel_output.h"

namespace vobrex {

// One term of a formula: weight x sample at `column` of line `line`
// (0, 1: the two lines of the first window pair; 2, 3: of the second).
struct KernelTerm {
  uint8_t line;
  int16_t column;
  int8_t weight;
};

// The formula of one output byte.
struct ByteFormula {
  static constexpr int kMaxTerms = 8;
  KernelTerm terms[kMaxTerms];
  int count = 0;
  bool halve = false;  // each sample halved (>> 1) before it is weighted
  int16_t round = 0;
  uint8_t shift = 0;

  // Adds weight x sample; terms on the same sample merge, a weight of 0 adds nothing.
  void Add(int line, int column, int weight);
  // Common forms: one sample, the true average and the halving average of two.
  static ByteFormula Sample(int line, int column);
  static ByteFormula TrueAverage(int line, int columnA, int columnB);
  static ByteFormula HalvingAverage(int line, int columnA, int columnB);
};

// Where the four lines of an output line start in the raw frame.
struct LineSources {
  int32_t offset[4];
};

// What a kernel tells the engine.
struct KernelShape {
  int width = 0;
  int height = 0;
  int pixelsPerChunk = 0;  // a whole number of the kernel's pixel groups
  OtherCodes other = OtherCodes::kAsCode1;
  // Line type of output line y, 0 .. lineTypes - 1: the formulas of a line
  // depend on its type and pixel only.
  std::function<int(int y)> lineType = [](int) { return 0; };
  int lineTypes = 1;
  std::function<LineSources(int y)> sources;
  // The blue, green and red formulas of pixel `pixel` of a line of `type`.
  std::function<void(int type, int pixel, ByteFormula (&bgr)[3])> pixel;
};

class VectorKernel;

// A compiled kernel; null when the processor lacks the instructions or the
// formulas do not fit the engine (then the scalar kernel runs).
std::shared_ptr<const VectorKernel> CompileVectorKernel(const KernelShape& shape);

// True when `kernel` ran (it is not null and the processor supports it).
bool RunVectorKernel(const VectorKernel* kernel, const uint8_t* raw, uint8_t* rgb, int orientation);

}  // namespace vobrex
