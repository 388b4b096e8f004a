// A HandheldStream to a child process that speaks the conversation on its
// standard input and output, normally `vorn-device serve IMAGE --stdio`.
// The child's standard error is left connected to ours.
#ifndef VORN_DESKTOP_TRANSPORT_CHILD_PROCESS_STREAM_H_
#define VORN_DESKTOP_TRANSPORT_CHILD_PROCESS_STREAM_H_

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "desktop/transport/fd_stream.h"

namespace desktop {

class ChildProcessStream : public FdStream {
 public:
  // Starts `argv[0]` (a path) with the given arguments. Fails when the
  // program cannot be started. Ignores SIGPIPE in this process so that a
  // child that went away shows up as an error value.
  static Result<std::unique_ptr<ChildProcessStream>> Spawn(
      const std::vector<std::string>& argv);

  // Starts `vorn-device serve IMAGE --stdio`, the program found by
  // FindDeviceProgram.
  static Result<std::unique_ptr<ChildProcessStream>> SpawnDevice(
      const std::string& image);

  // Where vorn-device lives: $VORN_DEVICE when set, else beside the running
  // program, else the first match on $PATH.
  static Result<std::string> FindDeviceProgram();

  // Waits for a child that does not end by itself for a little while, then
  // stops it.
  ~ChildProcessStream() override;

  // Closes our ends of the pipes and waits for the child. Fails when the
  // child exited with a non-zero status or was killed.
  Status Close() override;

 private:
  ChildProcessStream(pid_t pid, int read_fd, int write_fd, std::string name)
      : FdStream(read_fd, write_fd), pid_(pid), name_(std::move(name)) {}

  // Reaps the child, stopping it after `grace_ms`. Returns its wait status.
  int Reap(int grace_ms);

  pid_t pid_;
  std::string name_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_TRANSPORT_CHILD_PROCESS_STREAM_H_
