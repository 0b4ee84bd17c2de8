// Table passes by mosaic colour over raw frames and working samples.
//
// A frame is blocks of 512 x 512 samples: in each block the first 131072
// samples (the first field) alternate green (even index) and blue (odd),
// the next 131072 (the second field) red (even) and green (odd). Where
// every stage between the raw bytes and a later pass maps a sample by its
// colour and value alone, the whole chain is one table per colour; these
// passes apply such tables in one sweep.
#pragma once

#include <cstdint>

namespace vobrex {

inline constexpr int kChannelGreen = 0;
inline constexpr int kChannelBlue = 1;
inline constexpr int kChannelRed = 2;
inline constexpr int kChannelPlain = 3;  // samples past the blocks of the code
inline constexpr int32_t kMosaicBlockSamples = 0x40000;
inline constexpr int32_t kMosaicFieldSamples = 0x20000;

// One table per colour (kChannelGreen..kChannelRed) and one for samples
// past the balanced blocks.
struct ByteChannelTables {
  uint8_t table[4][256];
};
struct SampleChannelTables {
  int16_t table[4][256];
};

// raw[i] = table of its colour [raw[i]] over the first `blocks` blocks, the
// plain table for the rest of the `count` bytes.
void MapRawBytes(uint8_t* raw, int64_t count, int blocks, const ByteChannelTables& tables);

// samples[i] = table of the colour of i [raw[i]]; the same split.
void WidenRawBytes(int16_t* samples, const uint8_t* raw, int64_t count, int blocks,
                   const SampleChannelTables& tables);

// Sample tables with each table's low and high bytes apart, as the
// vector lookups take them: prepared once for passes that widen many short
// stretches of a frame.
struct PreparedChannelTables {
  SampleChannelTables words;
  bool identity[4];  // the table maps each byte value to itself
  alignas(64) uint8_t low[4][256];
  alignas(64) uint8_t high[4][256];
};
PreparedChannelTables PrepareChannelTables(const SampleChannelTables& tables);

// out[j] = samples[at + j] of WidenRawBytes for j < n, for any count past
// at + n: the same tables by the same colours, over part of a frame.
void WidenRawRange(int16_t* out, const uint8_t* raw, int64_t at, int64_t n, int blocks,
                   const PreparedChannelTables& tables);

// samples[i] = table of its colour [samples[i]] for samples that hold 0..255.
void MapByteSamples(int16_t* samples, int64_t count, int blocks, const SampleChannelTables& tables);

// Maps `count` bytes through one table.
void MapBytes(uint8_t* bytes, int64_t count, const uint8_t* table);

// Maps the first `pixels` pixels of a 24-bit image (blue, green, red) byte
// by byte, each through the table of its place in the pixel.
void MapPixelBytes(uint8_t* rgb, int64_t pixels, const uint8_t (&tables)[3][256]);

}  // namespace vobrex
