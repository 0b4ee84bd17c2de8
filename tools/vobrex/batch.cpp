#include "vobrex/batch.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include "vobrex/cli_support.h"

namespace vobrex::tool {

int DefaultJobs() { return std::max(1u, std::thread::hardware_concurrency()); }

void RunParallel(std::size_t count, int jobs, const std::function<void(std::size_t)>& work) {
  const std::size_t threads = std::min<std::size_t>(std::max(jobs, 1), count);
  std::atomic<std::size_t> next{0};
  const auto worker = [&] {
    for (std::size_t i = next++; i < count; i = next++) work(i);
  };
  if (threads <= 1) {
    worker();
    return;
  }
  std::vector<std::thread> pool;
  for (std::size_t t = 0; t < threads; ++t) pool.emplace_back(worker);
  for (std::thread& thread : pool) thread.join();
}

bool ErrorStreamIsTerminal() {
#if defined(_WIN32)
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(fileno(stderr)) != 0;
#endif
}

Progress::Progress(std::size_t total, bool bar, bool quiet)
    : total_(total), bar_(bar && !quiet), quiet_(quiet), start_(NowNanoseconds()) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (bar_) DrawLocked();
}

void Progress::DrawLocked() {
  constexpr int kWidth = 30;
  const int filled = total_ == 0 ? kWidth : static_cast<int>(kWidth * done_ / total_);
  std::string line = "\r[" + std::string(filled, '#') + std::string(kWidth - filled, '.') + "] ";
  char tail[96];
  std::snprintf(tail, sizeof tail, "%zu/%zu frames, %.1f s", done_, total_,
                MillisecondsSince(start_) / 1000.0);
  line += tail;
  if (failed_ > 0) line += ", " + std::to_string(failed_) + " failed";
  std::fputs(line.c_str(), stderr);
  std::fflush(stderr);
}

void Progress::Succeeded(const std::string& logLine) {
  std::lock_guard<std::mutex> lock(mutex_);
  ++done_;
  if (bar_) {
    DrawLocked();
  } else if (!quiet_) {
    std::printf("[%zu/%zu] %s\n", done_, total_, logLine.c_str());
    std::fflush(stdout);
  }
}

void Progress::Failed(const std::string& message) {
  std::lock_guard<std::mutex> lock(mutex_);
  ++done_;
  ++failed_;
  // Clear the bar's line so that the message stands on its own.
  if (bar_) std::fputs("\r\033[K", stderr);
  std::fprintf(stderr, "vobrex: error: %s\n", message.c_str());
  if (bar_) DrawLocked();
}

std::size_t Progress::Finish() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (bar_) std::fputs("\n", stderr);
  if (!quiet_) {
    std::printf("%zu of %zu frames converted in %.2f s", done_ - failed_, total_,
                MillisecondsSince(start_) / 1000.0);
    if (failed_ > 0) std::printf(", %zu failed", failed_);
    std::printf("\n");
  }
  return failed_;
}

}  // namespace vobrex::tool
