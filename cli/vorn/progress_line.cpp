#include "cli/vorn/progress_line.h"

#include <unistd.h>

#include <cstdio>

namespace vorn_cli {

ProgressLine::ProgressLine(std::string label)
    : label_(std::move(label)), enabled_(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
  if (shown_) std::fputc('\n', stderr);
}

void ProgressLine::Update(std::uint64_t done, std::uint64_t total) {
  if (!enabled_) return;
  if (total > 0) {
    std::fprintf(stderr, "\r%s: %llu / %llu bytes (%llu%%)", label_.c_str(),
                 static_cast<unsigned long long>(done),
                 static_cast<unsigned long long>(total),
                 static_cast<unsigned long long>(done * 100 / total));
  } else {
    std::fprintf(stderr, "\r%s: %llu bytes", label_.c_str(),
                 static_cast<unsigned long long>(done));
  }
  std::fflush(stderr);
  shown_ = true;
}

}  // namespace vorn_cli
