#include "preview/sensor_kernel_vector.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/cpu_features.h"
#include "platform/simd.h"
#include "preview/sensor_kernels.h"

namespace vobrex {

void ByteFormula::Add(int line, int column, int weight) {
  if (weight == 0) return;
  for (int k = 0; k < count; ++k) {
    if (terms[k].line == line && terms[k].column == column) {
      terms[k].weight = static_cast<int8_t>(terms[k].weight + weight);
      return;
    }
  }
  if (count < kMaxTerms) {
    terms[count++] = KernelTerm{static_cast<uint8_t>(line), static_cast<int16_t>(column),
                                static_cast<int8_t>(weight)};
  } else {
    count = kMaxTerms + 1;  // marks a formula the engine cannot take
  }
}

ByteFormula ByteFormula::Sample(int line, int column) {
  ByteFormula f;
  f.Add(line, column, 1);
  return f;
}

ByteFormula ByteFormula::TrueAverage(int line, int columnA, int columnB) {
  ByteFormula f;
  f.Add(line, columnA, 1);
  f.Add(line, columnB, 1);
  f.shift = 1;
  return f;
}

ByteFormula ByteFormula::HalvingAverage(int line, int columnA, int columnB) {
  // (a >> 1) + (b >> 1): kept as two terms even for a == b.
  ByteFormula f;
  f.terms[0] = KernelTerm{static_cast<uint8_t>(line), static_cast<int16_t>(columnA), 1};
  f.terms[1] = KernelTerm{static_cast<uint8_t>(line), static_cast<int16_t>(columnB), 1};
  f.count = 2;
  f.halve = true;
  return f;
}

namespace {

constexpr int kWindow = 64;      // bytes of a line a chunk reads
constexpr int kChunkBytes = 64;  // most bytes a chunk writes
constexpr int kSlots = 4;        // pair slots: 0, 1 from lines 0/1; 2, 3 from lines 2/3

// 32 output bytes, one 16-bit lane each.
struct Half {
  uint8_t index[kSlots][64];
  int8_t weight[kSlots][64];
  int16_t round[32];
  uint16_t shift[32];
  uint64_t halve;
};

struct Recipe {
  Half half[2];
};

struct Chunk {
  int32_t outOffset;
  int32_t length;
  int32_t column[2];  // window start of lines 0/1 and of lines 2/3
  int32_t recipe;
};

}  // namespace

// Consecutive chunks of a line that share one compiled form.
struct Run {
  int32_t recipe;
  int32_t begin;
  int32_t count;
};

struct LineProgram {
  std::vector<Chunk> chunks;
  std::vector<Run> runs;
  int slotsFirst = 0;   // pair slots used from lines 0/1
  int slotsSecond = 0;  // from lines 2/3
};

class VectorKernel {
 public:
  KernelShape shape;
  bool halves = false;
  std::vector<Recipe> recipes;
  // [reversed][line type]
  std::vector<LineProgram> lines[2];
};

namespace {

// Fills one chunk's recipe from the formulas of its bytes; false when they
// do not fit (too many terms, or columns beyond one window).
bool CompileChunk(const std::vector<ByteFormula>& bytes, Chunk& chunk, Recipe& recipe,
                  VectorKernel& k, LineProgram& line) {
  std::memset(&recipe, 0, sizeof recipe);
  int low[2] = {1 << 30, 1 << 30}, high[2] = {-(1 << 30), -(1 << 30)};
  for (const ByteFormula& f : bytes) {
    if (f.count > ByteFormula::kMaxTerms) return false;
    for (int t = 0; t < f.count; ++t) {
      const int pair = f.terms[t].line / 2;
      low[pair] = std::min<int>(low[pair], f.terms[t].column);
      high[pair] = std::max<int>(high[pair], f.terms[t].column);
    }
  }
  for (int pair = 0; pair < 2; ++pair) {
    if (high[pair] < low[pair]) low[pair] = high[pair] = 0;
    if (low[pair] < 0 || high[pair] - low[pair] >= kWindow) return false;
    chunk.column[pair] = low[pair];
  }
  for (std::size_t j = 0; j < bytes.size(); ++j) {
    const ByteFormula& f = bytes[j];
    Half& h = recipe.half[j / 32];
    const int lane = static_cast<int>(j % 32);
    int used[2] = {0, 0};  // terms placed per window pair
    for (int t = 0; t < f.count; ++t) {
      const KernelTerm& term = f.terms[t];
      const int pair = term.line / 2;
      const int slot = pair * 2 + used[pair] / 2;
      const int byte = 2 * lane + used[pair] % 2;
      if (used[pair] >= 4) return false;
      ++used[pair];
      h.index[slot][byte] =
          static_cast<uint8_t>((term.line % 2) * kWindow + (term.column - chunk.column[pair]));
      h.weight[slot][byte] = term.weight;
    }
    line.slotsFirst = std::max(line.slotsFirst, (used[0] + 1) / 2);
    line.slotsSecond = std::max(line.slotsSecond, (used[1] + 1) / 2);
    h.round[lane] = f.round;
    h.shift[lane] = f.shift;
    if (f.halve) {
      h.halve |= uint64_t{3} << (2 * lane);
      k.halves = true;
    }
  }
  return true;
}

bool Compile(VectorKernel& k) {
  const KernelShape& s = k.shape;
  const int chunkPixels = s.pixelsPerChunk;
  if (chunkPixels <= 0 || chunkPixels * 3 > kChunkBytes || s.lineTypes < 1) return false;
  for (int reversed = 0; reversed < 2; ++reversed) {
    k.lines[reversed].resize(static_cast<std::size_t>(s.lineTypes));
    for (int type = 0; type < s.lineTypes; ++type) {
      LineProgram& line = k.lines[reversed][type];
      std::vector<Chunk>& chunks = line.chunks;
      for (int first = 0; first < s.width; first += chunkPixels) {
        const int pixels = std::min(chunkPixels, s.width - first);
        std::vector<ByteFormula> bytes;
        for (int q = first; q < first + pixels; ++q) {
          ByteFormula bgr[3];
          s.pixel(type, reversed ? s.width - 1 - q : q, bgr);
          bytes.insert(bytes.end(), bgr, bgr + 3);
        }
        Chunk chunk{3 * first, 3 * pixels, {0, 0}, 0};
        Recipe recipe;
        if (!CompileChunk(bytes, chunk, recipe, k, line)) return false;
        // Whole pixel groups repeat: share the compiled form.
        auto same = std::find_if(k.recipes.begin(), k.recipes.end(), [&](const Recipe& r) {
          return std::memcmp(&r, &recipe, sizeof r) == 0;
        });
        if (same == k.recipes.end()) {
          k.recipes.push_back(recipe);
          same = k.recipes.end() - 1;
        }
        chunk.recipe = static_cast<int32_t>(same - k.recipes.begin());
        if (!line.runs.empty() && line.runs.back().recipe == chunk.recipe) {
          ++line.runs.back().count;
        } else {
          line.runs.push_back(Run{chunk.recipe, static_cast<int32_t>(chunks.size()), 1});
        }
        chunks.push_back(chunk);
      }
    }
  }
  return true;
}

#if defined(VOBREX_X86_SIMD)

// 64 bytes of a raw line from `at`; bytes past the frame read as 0.
VOBREX_TARGET_AVX512 inline __m512i LoadWindow(const uint8_t* at, const uint8_t* end) {
  if (at + kWindow <= end) return _mm512_loadu_si512(at);
  const std::ptrdiff_t available = end - at;
  if (available <= 0) return _mm512_setzero_si512();
  return _mm512_maskz_loadu_epi8((~uint64_t{0}) >> (64 - available), at);
}

// The vectors of one compiled form, loaded once for a run of chunks.
template <int kFirst, int kSecond>
struct LoadedRecipe {
  __m512i index[2][kSlots];
  __m512i weight[2][kSlots];
  __m512i round[2];
  __m512i shift[2];
  __mmask64 halve[2];
};

template <int kFirst, int kSecond, bool kHalves>
VOBREX_TARGET_AVX512 inline __m512i HalfResult(const LoadedRecipe<kFirst, kSecond>& r, int half,
                                               const __m512i (&w)[4]) {
  __m512i acc = r.round[half];
  for (int slot = 0; slot < kSlots; ++slot) {
    if (!(slot < kFirst || (slot >= 2 && slot < 2 + kSecond))) continue;
    const bool first = slot < 2;
    __m512i g =
        _mm512_permutex2var_epi8(first ? w[0] : w[2], r.index[half][slot], first ? w[1] : w[3]);
    if (kHalves) {
      const __m512i halved = _mm512_and_si512(_mm512_srli_epi16(g, 1), _mm512_set1_epi8(0x7F));
      g = _mm512_mask_blend_epi8(r.halve[half], g, halved);
    }
    acc = _mm512_add_epi16(acc, _mm512_maddubs_epi16(g, r.weight[half][slot]));
  }
  return _mm512_srlv_epi16(acc, r.shift[half]);
}

// The chunks of one line.
template <int kFirst, int kSecond, bool kHalves>
VOBREX_TARGET_AVX512 void RunLine(const VectorKernel& k, const LineProgram& line,
                                  const uint8_t* const (&lines)[4], const uint8_t* end,
                                  uint8_t* out) {
  alignas(64) uint8_t pick[64];
  for (int b = 0; b < 64; ++b) pick[b] = static_cast<uint8_t>(2 * b);
  // The low bytes of the 64 lanes of two 16-bit results, in order.
  const __m512i lowBytes = _mm512_load_si512(pick);
  for (const Run& run : line.runs) {
    const Recipe& recipe = k.recipes[run.recipe];
    LoadedRecipe<kFirst, kSecond> r;
    for (int half = 0; half < 2; ++half) {
      const Half& h = recipe.half[half];
      for (int slot = 0; slot < kSlots; ++slot) {
        if (slot < kFirst || (slot >= 2 && slot < 2 + kSecond)) {
          r.index[half][slot] = _mm512_loadu_si512(h.index[slot]);
          r.weight[half][slot] = _mm512_loadu_si512(h.weight[slot]);
        }
      }
      r.round[half] = _mm512_loadu_si512(h.round);
      r.shift[half] = _mm512_loadu_si512(h.shift);
      r.halve[half] = h.halve;
    }
    const Chunk* c = line.chunks.data() + run.begin;
    for (int32_t n = 0; n < run.count; ++n, ++c) {
      __m512i w[4];
      if (kFirst > 0) {
        w[0] = LoadWindow(lines[0] + c->column[0], end);
        w[1] = LoadWindow(lines[1] + c->column[0], end);
      }
      if (kSecond > 0) {
        w[2] = LoadWindow(lines[2] + c->column[1], end);
        w[3] = LoadWindow(lines[3] + c->column[1], end);
      }
      const __m512i bytes =
          _mm512_permutex2var_epi8(HalfResult<kFirst, kSecond, kHalves>(r, 0, w), lowBytes,
                                   HalfResult<kFirst, kSecond, kHalves>(r, 1, w));
      _mm512_mask_storeu_epi8(out + c->outOffset, (~uint64_t{0}) >> (64 - c->length), bytes);
    }
  }
}

using LineRunner = void (*)(const VectorKernel&, const LineProgram&, const uint8_t* const (&)[4],
                            const uint8_t*, uint8_t*);

template <bool kHalves>
LineRunner PickRunner(int first, int second) {
  switch (first * 3 + second) {
    case 1 * 3 + 0: return RunLine<1, 0, kHalves>;
    case 2 * 3 + 0: return RunLine<2, 0, kHalves>;
    case 0 * 3 + 1: return RunLine<0, 1, kHalves>;
    case 0 * 3 + 2: return RunLine<0, 2, kHalves>;
    case 1 * 3 + 1: return RunLine<1, 1, kHalves>;
    case 1 * 3 + 2: return RunLine<1, 2, kHalves>;
    case 2 * 3 + 1: return RunLine<2, 1, kHalves>;
    case 2 * 3 + 2: return RunLine<2, 2, kHalves>;
    default: return nullptr;
  }
}

void RunLines(const VectorKernel& k, const uint8_t* raw, uint8_t* rgb, bool topDown,
              bool reversed) {
  const KernelShape& s = k.shape;
  const uint8_t* end = raw + kPreviewFrameBytes;
  const std::ptrdiff_t stride = static_cast<std::ptrdiff_t>(s.width) * 3;
  for (int y = 0; y < s.height; ++y) {
    const int row = topDown ? s.height - 1 - y : y;
    const LineSources src = s.sources(y);
    const uint8_t* const lines[4] = {raw + src.offset[0], raw + src.offset[1], raw + src.offset[2],
                                     raw + src.offset[3]};
    const LineProgram& line = k.lines[reversed][s.lineType(y)];
    const LineRunner run = k.halves ? PickRunner<true>(line.slotsFirst, line.slotsSecond)
                                    : PickRunner<false>(line.slotsFirst, line.slotsSecond);
    if (run != nullptr) run(k, line, lines, end, rgb + row * stride);
  }
}

#endif  // VOBREX_X86_SIMD

}  // namespace

std::shared_ptr<const VectorKernel> CompileVectorKernel(const KernelShape& shape) {
  if (SupportedSimdLevel() != SimdLevel::kAvx512) return nullptr;
  auto k = std::make_shared<VectorKernel>();
  k->shape = shape;
  if (!Compile(*k)) return nullptr;
  return k;
}

bool RunVectorKernel(const VectorKernel* kernel, const uint8_t* raw, uint8_t* rgb,
                     int orientation) {
#if defined(VOBREX_X86_SIMD)
  if (kernel == nullptr || ActiveSimdLevel() != SimdLevel::kAvx512) return false;
  int code = orientation;
  if (code < 1 || code > 4) code = kernel->shape.other == OtherCodes::kAsCode1 ? 1 : 2;
  RunLines(*kernel, raw, rgb, code == 2 || code == 4, code == 3 || code == 4);
  return true;
#else
  static_cast<void>(kernel);
  static_cast<void>(raw);
  static_cast<void>(rgb);
  static_cast<void>(orientation);
  return false;
#endif
}

}  // namespace vobrex
