// One conversation with a handheld for the duration of a command: opens the
// stream named on the command line, lends out a HandheldClient, and always
// ends with command 1 before closing the stream.
#ifndef VORN_CLI_VORN_SESSION_H_
#define VORN_CLI_VORN_SESSION_H_

#include <memory>

#include "cli/vorn/command_line.h"
#include "desktop/transport/handheld_stream.h"
#include "desktop/wire/handheld_client.h"

namespace vorn_cli {

class Session {
 public:
  // Connects to --device or starts the handheld of --image.
  static desktop::Result<std::unique_ptr<Session>> Open(
      const CommandLine& line);

  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  // Finishes the conversation if Finish was not called.
  ~Session();

  desktop::HandheldClient& client() { return client_; }

  // Tells the session that the caller already sent command 1.
  void MarkEnded() { ended_ = true; }

  // Sends command 1 (unless already sent) and closes the stream. Reports a
  // broken stream or a handheld program that failed.
  desktop::Status Finish();

 private:
  explicit Session(std::unique_ptr<desktop::HandheldStream> stream)
      : stream_(std::move(stream)), client_(*stream_) {}

  std::unique_ptr<desktop::HandheldStream> stream_;
  desktop::HandheldClient client_;
  bool ended_ = false;
  bool finished_ = false;
};

}  // namespace vorn_cli

#endif  // VORN_CLI_VORN_SESSION_H_
