// Every conversion job timed against memcpy and against its OpenCV peer, in
// one run on one thread, and its peak working memory against the buffers
// its path is designed around.
//
//   bench_conversions [--rounds N] [--filter TEXT] [--markdown]
//
// Each job is timed in N rounds; a round times the job, a memcpy of the
// job's input plus output bytes, and the job's OpenCV peer back to back, so
// that all three see the same machine load. Times are processor time of this
// thread; the table shows the median of the rounds and the ratios of the
// medians. The OpenCV peers (built only when OpenCV was found) run with one
// thread:
//   preview 640 x 480  bilinear Bayer to BGR of a 512 x 512 mosaic, then
//                      cv::resize (linear) to 640 x 480
//   still              edge-aware Bayer to BGR (COLOR_BayerGB2BGR_EA) of a
//                      512 x 512 mosaic, then cv::resize to the still's size
//   high resolution    the same of a 1024 x 1024 mosaic, to the output size
//
// Memory: the peak of the bytes live in the library's general allocator
// during one conversion (after a warm-up frame, so the white-balance tables
// that live as long as the context are not counted), against the buffers
// the design names for the path:
//   preview            raw-domain balance: one sample buffer, 2 bytes a
//                      sample; every other preview: nothing
//   still 13/23        the sample buffer, the three 512 x 512 planes and the
//                      16-bit output, as they overlap: planes + max(samples,
//                      output)
//   high resolution    the 1024 x 1024 x 3 work grid + max(samples, output)
// plus 10 %.
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "capture/still_entry.h"
#include "mosaic/hires_mosaic.h"
#include "mosaic/image.h"
#include "mosaic/preview_mosaic.h"
#include "mosaic/still_mosaic.h"
#include "platform/memory.h"
#include "preview/preview_driver.h"
#include "settings/camera.h"

#if defined(VOBREX_BENCH_OPENCV)
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using Bytes = std::vector<uint8_t>;

// Processor time of this thread in seconds: on a shared machine it leaves
// out the time the thread waits for a core.
double Now() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

double Median(std::vector<double> v) {
  if (v.empty()) return 0.0;
  std::sort(v.begin(), v.end());
  const std::size_t n = v.size();
  return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

// A scene with gradients, colour areas and edges, the same in every run.
vobrex::mosaic::Image MakeScene(int width, int height) {
  vobrex::mosaic::Image img(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      uint8_t* p = img.At(x, y);
      p[0] = static_cast<uint8_t>(128 + 90 * std::sin(x / 30.0) * std::cos(y / 50.0));
      p[1] = static_cast<uint8_t>(128 + 90 * std::cos((x + y) / 40.0));
      p[2] = static_cast<uint8_t>(128 + 90 * std::sin((x - y) / 35.0));
      if ((x / 40 + y / 40) % 5 == 0) p[0] = 230, p[1] = 30, p[2] = 40;
    }
  }
  return img;
}

// Scenes are made once per size.
const vobrex::mosaic::Image& Scene(int width, int height) {
  static std::vector<std::unique_ptr<vobrex::mosaic::Image>> made;
  for (const auto& m : made) {
    if (m->width == width && m->height == height) return *m;
  }
  made.push_back(std::make_unique<vobrex::mosaic::Image>(MakeScene(width, height)));
  return *made.back();
}

// ---------------------------------------------------------------------------
// OpenCV peers.

enum class Peer { kNone, kBilinear512, kEdgeAware512, kEdgeAware1024 };

#if defined(VOBREX_BENCH_OPENCV)
// A Bayer mosaic of the scene, rows G B G B ... and R G R G ....
cv::Mat BayerOf(int side) {
  const vobrex::mosaic::Image& scene = Scene(side, side);
  cv::Mat m(side, side, CV_8UC1);
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      const int channel = (y % 2 == 0) ? (x % 2 == 0 ? 1 : 2) : (x % 2 == 0 ? 0 : 1);
      m.at<uint8_t>(y, x) = scene.At(x, y)[channel];
    }
  }
  return m;
}

struct PeerRunner {
  cv::Mat bayer512, bayer1024;
  cv::Mat bgr, out;
  void Run(Peer peer, int width, int height) {
    if (bayer512.empty()) bayer512 = BayerOf(512);
    if (bayer1024.empty()) bayer1024 = BayerOf(1024);
    switch (peer) {
      case Peer::kBilinear512: cv::cvtColor(bayer512, bgr, cv::COLOR_BayerGB2BGR); break;
      case Peer::kEdgeAware512: cv::cvtColor(bayer512, bgr, cv::COLOR_BayerGB2BGR_EA); break;
      case Peer::kEdgeAware1024: cv::cvtColor(bayer1024, bgr, cv::COLOR_BayerGB2BGR_EA); break;
      case Peer::kNone: return;
    }
    cv::resize(bgr, out, cv::Size(width, height), 0, 0, cv::INTER_LINEAR);
  }
};
#endif

const char* PeerName(Peer peer) {
  switch (peer) {
    case Peer::kBilinear512: return "bilinear 512 + resize";
    case Peer::kEdgeAware512: return "EA 512 + resize";
    case Peer::kEdgeAware1024: return "EA 1024 + resize";
    case Peer::kNone: break;
  }
  return "";
}

// ---------------------------------------------------------------------------
// Jobs.

struct Job {
  std::string name;
  std::size_t inputBytes = 0;
  std::size_t outputBytes = 0;
  Peer peer = Peer::kNone;
  int width = 0, height = 0;
  double memcpyTarget = 0;  // 0: none
  double peerTarget = 0;
  std::size_t namedBytes = 0;
  std::function<void()> prepare;  // untimed, before every run
  std::function<int()> run;
};

struct PreviewJob {
  vobrex::Camera cam;
  Bytes frame, raw, rgb;
  uint32_t clock = 1000;
};

// A preview context at video rate: its clock moves 33 ms a frame, so the
// automatic gains of sub-mode 1 are re-estimated about once a second.
Job MakePreview(int sensorMode, int wbMode, double memcpyTarget, double peerTarget) {
  auto p = std::make_shared<PreviewJob>();
  vobrex::SetMotionResolution(p->cam, sensorMode);
  p->cam.modes.wbMode = wbMode;
  p->cam.SetClock([p] { return p->clock; });
  p->rgb.assign(p->cam.modes.imageBytes, 0);
  Job j;
  j.name = "preview " + std::to_string(sensorMode) + " (" + std::to_string(p->cam.modes.width) +
           "x" + std::to_string(p->cam.modes.height) + ") wb" + std::to_string(wbMode);
  j.inputBytes = p->cam.sampleCount.rawSampleCount;
  j.outputBytes = p->rgb.size();
  j.width = p->cam.modes.width;
  j.height = p->cam.modes.height;
  j.memcpyTarget = memcpyTarget;
  j.peerTarget = peerTarget;
  if (peerTarget > 0) j.peer = Peer::kBilinear512;
  const bool rawBalance = wbMode != 0 && sensorMode != 1 && p->cam.modes.outputFormat == 1;
  j.namedBytes = rawBalance ? 2 * std::size_t{p->cam.sampleCount.rawSampleCount} : 0;
  j.prepare = [p, sensorMode] {
    if (p->frame.empty()) {  // made on first use, so that a filtered run makes only its frames
      p->frame = vobrex::mosaic::PreviewMosaic(Scene(320, 240), sensorMode);
      p->raw = p->frame;
    }
    std::memcpy(p->raw.data(), p->frame.data(), p->frame.size());
    p->clock += 33;
  };
  j.run = [p] { return vobrex::ConvertPreviewFrame(p->cam, p->raw.data(), p->rgb.data()); };
  return j;
}

struct StillJob {
  vobrex::Camera cam;
  CameraModes settings{};
  Bytes frame, out;
  int code = 13;
};

std::size_t StillNamedBytes(const vobrex::Camera& cam, int code) {
  const std::size_t samples = 2 * std::size_t{cam.sampleCount.rawSampleCount};
  const std::size_t output = 2 * std::size_t{cam.modes.imageBytes};
  const std::size_t work = code == 40 ? 3 * 1024 * 1024 * 2 : 3 * 512 * 512 * 2;
  return work + std::max(samples, output);
}

const char* ContentName(int outputFormat) {
  switch (outputFormat) {
    case 0: return "grey-from-colour";
    case 1: return "colour";
    case 2: return "grey";
    default: return "?";
  }
}

// Still core (ConvertCamFrame) of a code and sub-mode; `tweak` names
// settings beyond the defaults.
Job MakeStill(int code, int subMode, int outputFormat, int wbMode, double peerTarget,
              const std::string& extra = "",
              const std::function<void(vobrex::Camera&)>& tweak = nullptr) {
  auto s = std::make_shared<StillJob>();
  s->code = code;
  s->cam.modes.outputFormat = static_cast<uint8_t>(outputFormat);
  vobrex::SetResolution(s->cam, code, subMode);
  s->cam.modes.wbMode = wbMode;
  if (tweak) tweak(s->cam);
  s->settings = s->cam.modes;
  s->out.assign(54 + std::size_t{s->cam.modes.imageBytes}, 0);
  Job j;
  j.name = (code == 40 ? "hires " : "still " + std::to_string(code) + " ") +
           std::to_string(s->cam.modes.width) + "x" + std::to_string(s->cam.modes.height) + " " +
           ContentName(outputFormat) + " wb" + std::to_string(wbMode) + extra;
  j.inputBytes = s->cam.sampleCount.rawSampleCount;
  j.outputBytes = s->cam.modes.imageBytes;
  j.width = s->cam.modes.width;
  j.height = s->cam.modes.height;
  j.peerTarget = peerTarget;
  if (peerTarget > 0) j.peer = code == 40 ? Peer::kEdgeAware1024 : Peer::kEdgeAware512;
  j.namedBytes = StillNamedBytes(s->cam, code);
  j.prepare = [s] {
    if (s->frame.empty()) {
      s->frame = s->code == 40 ? vobrex::mosaic::HiresMosaic(Scene(1012, 960))
                               : vobrex::mosaic::StillMosaic(Scene(640, 480), s->code);
      s->frame.resize(s->cam.sampleCount.rawSampleCount, 0);
    }
    s->cam.modes = s->settings;
  };
  j.run = [s] { return vobrex::ConvertCamFrame(s->cam, s->frame.data(), s->out.data(), s->code); };
  return j;
}

std::vector<Job> Jobs() {
  std::vector<Job> jobs;
  for (int wb : {1, 0}) jobs.push_back(MakePreview(51, wb, 3.0, 0.2));
  for (int mode : {0, 1, 2, 52, 53, 54, 55, 56, 57, 58})
    jobs.push_back(MakePreview(mode, 1, 3.0, 0));
  for (int mode : {0, 1, 2, 54, 57}) jobs.push_back(MakePreview(mode, 0, 3.0, 0));
  for (int sub : {0, 1, 2}) {
    for (int format : {1, 2}) {
      for (int wb : {1, 0}) jobs.push_back(MakeStill(13, sub, format, wb, 0.5));
    }
  }
  jobs.push_back(MakeStill(13, 0, 0, 1, 0));
  // The double read-out at every size, colour and grey (no peer: it has no demosaic).
  for (int sub : {0, 1, 2}) {
    for (int format : {1, 2}) jobs.push_back(MakeStill(23, sub, format, 1, 0));
  }
  jobs.push_back(
      MakeStill(13, 0, 1, 1, 0, " +defects+filter+sharpen+tone", [](vobrex::Camera& cam) {
        vobrex::SetFocusFactors(cam, 1, 1);
        vobrex::SetOption(cam, 'u', 1);
        vobrex::SetCBFactors(cam, 20, -10, 110, 2, 1, 1);
      }));
  jobs.push_back(MakeStill(13, 0, 1, 1, 0, " +filterC",
                           [](vobrex::Camera& cam) { vobrex::SetOption(cam, 'u', 1); }));
  jobs.push_back(MakeStill(23, 0, 1, 1, 0, " +defects",
                           [](vobrex::Camera& cam) { vobrex::SetFocusFactors(cam, 0, 1); }));
  for (int sub : {0, 1, 2}) jobs.push_back(MakeStill(40, sub, 1, 1, 1.0));
  jobs.push_back(MakeStill(40, 0, 0, 1, 0));
  jobs.push_back(MakeStill(40, 0, 1, 1, 0, " +filterA+sharpen7", [](vobrex::Camera& cam) {
    vobrex::SetFocusFactors(cam, 1, 0);
    vobrex::SetOption(cam, 'u', 1);
  }));
  return jobs;
}

// ---------------------------------------------------------------------------
// Measurement.

struct Result {
  double jobMs = 0, memcpyMs = 0, peerMs = 0;
  std::size_t peakBytes = 0;
  bool failed = false;
};

// Runs `job` until `seconds` of processor time are spent (at least once) and
// gives the mean time of one run; only the run itself is timed.
double TimeJob(const Job& job, double seconds, bool& failed) {
  double spent = 0;
  int runs = 0;
  while (runs == 0 || spent < seconds) {
    job.prepare();
    const double start = Now();
    if (job.run() != 1) failed = true;
    spent += Now() - start;
    ++runs;
  }
  return spent / runs;
}

template <class F>
double TimeLoop(F f, double seconds) {
  int runs = 0;
  const double start = Now();
  double spent = 0;
  while (runs == 0 || spent < seconds) {
    f();
    ++runs;
    spent = Now() - start;
  }
  return spent / runs;
}

struct Copies {
  Bytes from, to;
};

Result Measure(const Job& job, int rounds, void* peers) {
  Result r;
  // Warm up: first-use tables, caches, the allocator's free lists.
  for (int i = 0; i < 3; ++i) {
    job.prepare();
    if (job.run() != 1) r.failed = true;
  }
  job.prepare();
  vobrex::ResetPeakAllocation();
  job.run();
  r.peakBytes = vobrex::PeakAllocatedBytes();

  Copies in{Bytes(job.inputBytes, 1), Bytes(job.inputBytes)};
  Copies out{Bytes(job.outputBytes, 2), Bytes(job.outputBytes)};
  auto copy = [&] {
    std::memcpy(in.to.data(), in.from.data(), job.inputBytes);
    std::memcpy(out.to.data(), out.from.data(), job.outputBytes);
    asm volatile("" : : "r"(in.to.data()), "r"(out.to.data()) : "memory");
  };
  std::vector<double> jobTimes, copyTimes, peerTimes;
  constexpr double kSlice = 0.004;  // seconds of processor time per sample
  for (int round = 0; round < rounds; ++round) {
    jobTimes.push_back(TimeJob(job, kSlice, r.failed));
    copyTimes.push_back(TimeLoop(copy, kSlice));
#if defined(VOBREX_BENCH_OPENCV)
    if (job.peer != Peer::kNone) {
      auto* runner = static_cast<PeerRunner*>(peers);
      peerTimes.push_back(TimeLoop([&] { runner->Run(job.peer, job.width, job.height); }, kSlice));
    }
#else
    static_cast<void>(peers);
#endif
  }
  r.jobMs = Median(jobTimes) * 1e3;
  r.memcpyMs = Median(copyTimes) * 1e3;
  r.peerMs = Median(peerTimes) * 1e3;
  return r;
}

std::string CpuModel() {
  std::ifstream in("/proc/cpuinfo");
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("model name", 0) == 0) {
      const auto colon = line.find(':');
      if (colon != std::string::npos) return line.substr(colon + 2);
    }
  }
  return "unknown";
}

std::string Fixed(double v, int digits) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%.*f", digits, v);
  return buf;
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 15;
  std::string filter;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--rounds" && i + 1 < argc) {
      rounds = std::max(1, std::atoi(argv[++i]));
    } else if (a == "--filter" && i + 1 < argc) {
      filter = argv[++i];
    } else if (a == "--markdown") {
      // The table is markdown already; the flag is accepted for scripts.
    } else {
      std::fprintf(stderr, "usage: %s [--rounds N] [--filter TEXT]\n", argv[0]);
      return 2;
    }
  }

  void* peers = nullptr;
#if defined(VOBREX_BENCH_OPENCV)
  cv::setNumThreads(1);
  static PeerRunner runner;
  peers = &runner;
  const std::string opencv = std::string("OpenCV ") + CV_VERSION + ", one thread";
#else
  const std::string opencv = "OpenCV not found: no peer column";
#endif

  std::printf("Machine: %s, %ld processors online; %s; %d rounds a job.\n\n", CpuModel().c_str(),
              sysconf(_SC_NPROCESSORS_ONLN), opencv.c_str(), rounds);
  std::printf(
      "| job | ms | memcpy ms | x memcpy | peer | peer ms | x peer | target | peak KiB | "
      "named KiB | verdict |\n");
  std::printf("|---|---:|---:|---:|---|---:|---:|---|---:|---:|---|\n");
  int missed = 0;
  for (const Job& job : Jobs()) {
    if (!filter.empty() && job.name.find(filter) == std::string::npos) continue;
    const Result r = Measure(job, rounds, peers);
    const double xMemcpy = r.memcpyMs > 0 ? r.jobMs / r.memcpyMs : 0;
    const double xPeer = r.peerMs > 0 ? r.jobMs / r.peerMs : 0;
    std::string target, verdict = r.failed ? "FAILED" : "ok";
    auto miss = [&](const std::string& what) {
      verdict = verdict == "ok" ? "MISS " + what : verdict + ", " + what;
    };
    if (job.memcpyTarget > 0) {
      target += "<= " + Fixed(job.memcpyTarget, 1) + " x memcpy";
      if (xMemcpy > job.memcpyTarget) miss("memcpy");
    }
    if (job.peerTarget > 0) {
      if (!target.empty()) target += ", ";
      target += "<= " + Fixed(job.peerTarget, 1) + " x peer";
      if (r.peerMs > 0 && xPeer > job.peerTarget) miss("peer");
    }
    if (static_cast<double>(r.peakBytes) > 1.1 * static_cast<double>(job.namedBytes))
      miss("memory");
    if (verdict != "ok") ++missed;
    std::printf("| %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", job.name.c_str(),
                Fixed(r.jobMs, 3).c_str(), Fixed(r.memcpyMs, 3).c_str(), Fixed(xMemcpy, 2).c_str(),
                r.peerMs > 0 ? PeerName(job.peer) : "",
                r.peerMs > 0 ? Fixed(r.peerMs, 3).c_str() : "",
                r.peerMs > 0 ? Fixed(xPeer, 2).c_str() : "", target.c_str(),
                Fixed(static_cast<double>(r.peakBytes) / 1024.0, 0).c_str(),
                Fixed(static_cast<double>(job.namedBytes) / 1024.0, 0).c_str(), verdict.c_str());
    std::fflush(stdout);
  }
  std::printf("\n%d job(s) missed a target.\n", missed);
  return 0;
}
