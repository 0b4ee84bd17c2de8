// Running many conversions at once, and telling the user how far they are:
// a progress bar on a terminal, one log line a frame otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

namespace vobrex::tool {

// All cores by default.
int DefaultJobs();

// Calls work(i) for every i below `count`, on up to `jobs` threads; each
// index is taken exactly once. `work` must not throw.
void RunParallel(std::size_t count, int jobs, const std::function<void(std::size_t)>& work);

// True when standard error is a terminal.
bool ErrorStreamIsTerminal();

class Progress {
 public:
  // `bar` draws a bar on standard error; otherwise each finished item logs
  // a line on standard output (unless `quiet`).
  Progress(std::size_t total, bool bar, bool quiet);
  void Succeeded(const std::string& logLine);
  void Failed(const std::string& message);  // always shown, on standard error
  // Ends the bar and returns the number of failures.
  std::size_t Finish();

 private:
  void DrawLocked();

  std::mutex mutex_;
  std::size_t total_;
  std::size_t done_ = 0;
  std::size_t failed_ = 0;
  bool bar_;
  bool quiet_;
  int64_t start_;
};

}  // namespace vobrex::tool
