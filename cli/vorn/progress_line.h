// A one-line progress display on standard error, shown only when standard
// error is a terminal.
#ifndef VORN_CLI_VORN_PROGRESS_LINE_H_
#define VORN_CLI_VORN_PROGRESS_LINE_H_

#include <cstdint>
#include <string>

namespace vorn_cli {

class ProgressLine {
 public:
  // `label` starts the line, e.g. "pushing notes.txt".
  explicit ProgressLine(std::string label);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  // Ends the line if it was shown.
  ~ProgressLine();

  // Redraws the line; `total` 0 means unknown.
  void Update(std::uint64_t done, std::uint64_t total);

 private:
  std::string label_;
  bool enabled_;
  bool shown_ = false;
};

}  // namespace vorn_cli

#endif  // VORN_CLI_VORN_PROGRESS_LINE_H_
