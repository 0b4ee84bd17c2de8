// `vobrex compare`: how close two pictures are, channel by channel.
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>

#include "vobrex/cli_support.h"
#include "vobrex/commands.h"
#include "vobrex/png_io.h"

namespace vobrex::tool {

namespace {

struct CompareOptions {
  std::string first;
  std::string second;
  int border = 0;
  bool resize = false;
  std::optional<double> minPsnr;
};

mosaic::Image Resized(const mosaic::Image& image, int width, int height) {
  mosaic::Image out(width, height);
  const double sx = double(image.width) / width, sy = double(image.height) / height;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 3; ++c) {
        const double v = mosaic::Sample(image, (x + 0.5) * sx, (y + 0.5) * sy, c);
        out.At(x, y)[c] = static_cast<uint8_t>(std::lround(v));
      }
    }
  }
  return out;
}

// The mean of the three channels' squared errors, as a PSNR.
double CombinedPsnr(const double (&psnr)[3]) {
  double mse = 0;
  for (double p : psnr) mse += p >= 99 ? 0 : 255.0 * 255.0 / std::pow(10.0, p / 10);
  mse /= 3;
  return mse == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mse);
}

int RunCompare(const CompareOptions& o) {
  const mosaic::Image a = ReadPng(o.first);
  mosaic::Image b = ReadPng(o.second);
  if (a.width != b.width || a.height != b.height) {
    if (!o.resize) {
      throw ToolError("the pictures differ in size: " + std::to_string(a.width) + " x " +
                      std::to_string(a.height) + " against " + std::to_string(b.width) + " x " +
                      std::to_string(b.height) + " (--resize resamples the second)");
    }
    b = Resized(b, a.width, a.height);
  }
  if (2 * o.border >= a.width || 2 * o.border >= a.height) {
    throw ToolError("--border " + std::to_string(o.border) + " leaves no pixels to compare");
  }
  static const char* const kNames[3] = {"red", "green", "blue"};
  double psnr[3];
  for (int c = 0; c < 3; ++c) {
    psnr[c] = mosaic::Psnr(a, b, c, o.border);
    std::printf("%-6s %6.2f dB\n", kNames[c], psnr[c]);
  }
  std::printf("%-6s %6.2f dB\n", "all", CombinedPsnr(psnr));
  if (o.minPsnr) {
    int below = 0;
    for (int c = 0; c < 3; ++c) {
      if (psnr[c] < *o.minPsnr) {
        std::fprintf(stderr, "vobrex: %s %.2f dB is below the floor of %.2f dB\n", kNames[c],
                     psnr[c], *o.minPsnr);
        ++below;
      }
    }
    if (below > 0) return 1;
  }
  return 0;
}

}  // namespace

void AddCompareCommand(CLI::App& app, CommandRun& run) {
  auto o = std::make_shared<CompareOptions>();
  CLI::App* sub = app.add_subcommand(
      "compare", "Peak signal-to-noise ratio of two pictures, per channel (e.g. of a round trip)");
  sub->add_option("first", o->first, "Reference picture")
      ->required()
      ->check(CLI::ExistingFile)
      ->type_name("A.png");
  sub->add_option("second", o->second, "Picture to measure")
      ->required()
      ->check(CLI::ExistingFile)
      ->type_name("B.png");
  sub->add_option("--border", o->border, "Leave out this many pixels at every edge")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  sub->add_flag("--resize", o->resize, "Resample the second picture to the first one's size");
  sub->add_option("--min-psnr", o->minPsnr, "Exit with 1 when a channel falls below this many dB")
      ->type_name("DB");
  sub->footer(
      "Prints one line a channel, 'red', 'green', 'blue', then 'all' (the mean squared "
      "error of the three); 99 dB means equal.");
  sub->callback([o, &run] { run = [o] { return RunCompare(*o); }; });
}

}  // namespace vobrex::tool
