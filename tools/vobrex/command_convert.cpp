// `vobrex convert`: raw frames to PNG or BMP through the library's entry
// points, many at once.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>

#include "vobrex/batch.h"
#include "vobrex/cli_support.h"
#include "vobrex/commands.h"
#include "vobrex/frame_conversion.h"
#include "vobrex/setter_options.h"

namespace vobrex::tool {

namespace {

struct ConvertOptions {
  std::vector<std::string> frames;
  SetterOptions setters;
  std::string out;
  std::string outDir;
  std::string format = "png";
  int jobs = DefaultJobs();
  bool video = false;
  bool quiet = false;
  bool report = false;
};

struct Job {
  std::filesystem::path input;
  std::filesystem::path output;
};

std::vector<Job> PlanJobs(const ConvertOptions& o, ImageFormat& format) {
  if (o.out.empty() == o.outDir.empty()) {
    throw ToolError("give either -o OUT (one frame) or --out-dir DIR");
  }
  std::vector<Job> jobs;
  if (!o.out.empty()) {
    if (o.frames.size() != 1) {
      throw ToolError("-o names one picture but " + std::to_string(o.frames.size()) +
                      " frames were given; use --out-dir DIR");
    }
    format = FormatOfPath(o.out);
    jobs.push_back({o.frames[0], o.out});
    return jobs;
  }
  format = o.format == "bmp" ? ImageFormat::kBmp : ImageFormat::kPng;
  std::filesystem::create_directories(o.outDir);
  std::set<std::filesystem::path> outputs;
  for (const std::string& frame : o.frames) {
    std::filesystem::path output =
        std::filesystem::path(o.outDir) / std::filesystem::path(frame).stem();
    output += "." + o.format;
    if (!outputs.insert(output).second) {
      throw ToolError("two frames would both be written to " + output.string() +
                      "; give them different names");
    }
    jobs.push_back({frame, output});
  }
  return jobs;
}

std::string LogLine(const Job& job, const ConvertedFrame& frame, double ms) {
  char text[64];
  std::snprintf(text, sizeof text, " (%d x %d, %.1f ms)", frame.width, frame.height, ms);
  return job.input.string() + " -> " + job.output.string() + text;
}

int RunConvert(const ConvertOptions& o) {
  // Every setter value is checked once, before any frame is read.
  Camera probe;
  const Readout readout = ApplySetters(probe, o.setters);
  ImageFormat format = ImageFormat::kPng;
  const std::vector<Job> jobs = PlanJobs(o, format);
  const Entry entry = o.video ? Entry::kVideo : Entry::kCapture;
  if (o.video && readout.path == Path::kPreview) {
    throw ToolError(
        "--video converts still and high-resolution frames; preview frames go "
        "through ReadPreviewImage");
  }

  Progress progress(jobs.size(), ErrorStreamIsTerminal(), o.quiet);
  RunParallel(jobs.size(), o.jobs, [&](std::size_t i) {
    const Job& job = jobs[i];
    try {
      // Each frame gets a context of its own, set up as the options say, so
      // that the result does not depend on which worker took it or in what
      // order (the white-balance timer and histories start afresh).
      Camera cam;
      ApplySetters(cam, o.setters);
      std::vector<uint8_t> raw = ReadFileBytes(job.input);
      CheckRawSize(cam, readout, raw.size(), job.input.string());
      const int64_t start = NowNanoseconds();
      const ConvertedFrame frame = ConvertFrame(cam, readout.path, raw, entry);
      const double ms = MillisecondsSince(start);
      WriteConvertedFrame(frame, job.output, format);
      std::string line = LogLine(job, frame, ms);
      if (o.report) line += "; " + GetterReport(cam);
      progress.Succeeded(line);
    } catch (const std::exception& e) {
      progress.Failed(e.what());
    }
  });
  return progress.Finish() == 0 ? 0 : 1;
}

}  // namespace

void AddConvertCommand(CLI::App& app, CommandRun& run) {
  auto o = std::make_shared<ConvertOptions>();
  CLI::App* sub = app.add_subcommand(
      "convert",
      "Convert raw frames (the bytes as the camera delivers them, one byte a sample) to PNG or "
      "BMP through the library");
  sub->add_option("frames", o->frames, "Raw frame files")
      ->required()
      ->check(CLI::ExistingFile)
      ->type_name("FRAME...");
  sub->add_option("-o,--out", o->out, "The picture for a single frame (.png or .bmp)")
      ->type_name("OUT");
  sub->add_option("--out-dir", o->outDir, "Directory for the pictures of many frames")
      ->type_name("DIR");
  sub->add_option("--format", o->format, "Picture format with --out-dir")
      ->check(CLI::IsMember({"png", "bmp"}))
      ->capture_default_str();
  sub->add_option("-j,--jobs", o->jobs,
                  "Frames converted at once, one library context each (default: all cores)")
      ->check(CLI::Range(1, 1024));
  sub->add_flag("--video", o->video,
                "Convert still and high-resolution frames through GetVFWImage (the video-driver "
                "chain: no header, filters or tone curve) instead of ReadCamImage");
  sub->add_flag("--report", o->report,
                "Log what the getters report after each frame (ratios, focus, sharpness, "
                "semi-automatic factors)");
  sub->add_flag("-q,--quiet", o->quiet, "Print only errors");
  AddSetterOptions(*sub, o->setters, true);
  sub->footer(
      "BMP files carry the library's own bitmap header (the block ReadPreviewImage and "
      "ReadCamImage write with framing '3'). The raw size must match the read-out: 262144 bytes "
      "for preview and codes 10..13, 524288 for 21/23, 1048576 for 40 (see `vobrex info`).");
  sub->callback([o, &run] { run = [o] { return RunConvert(*o); }; });
}

}  // namespace vobrex::tool
