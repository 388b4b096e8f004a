#include "cli/vorn/session.h"

#include "desktop/transport/child_process_stream.h"
#include "desktop/transport/rapi_invocation.h"
#include "desktop/transport/tcp_stream.h"

namespace vorn_cli {

using desktop::Result;
using desktop::Status;

Result<std::unique_ptr<Session>> Session::Open(const CommandLine& line) {
  std::unique_ptr<desktop::HandheldStream> stream;
  // The command line has checked that one handheld is named and that a
  // password goes with a remote API address only.
  if (desktop::RapiInvocation::IsRapiAddress(line.device)) {
    desktop::RapiOptions options;
    options.password = line.password;
    if (!line.password_key.empty()) {
      auto key = desktop::RapiInvocation::ParsePasswordKey(line.password_key);
      if (!key.ok()) return key.status();
      options.password_key = *key;
    }
    auto opened = desktop::RapiInvocation::Open(line.device, options);
    if (!opened.ok()) return opened.status();
    stream = std::move(*opened);
  } else if (!line.device.empty()) {
    auto tcp = desktop::TcpStream::Connect(line.device);
    if (!tcp.ok()) return tcp.status();
    stream = std::move(*tcp);
  } else if (!line.image.empty()) {
    auto child = desktop::ChildProcessStream::SpawnDevice(line.image);
    if (!child.ok()) return child.status();
    stream = std::move(*child);
  } else {
    return Status::Error("no handheld given");
  }
  return std::unique_ptr<Session>(new Session(std::move(stream)));
}

Session::~Session() {
  if (!finished_) (void)Finish();
}

Status Session::Finish() {
  if (finished_) return Status::Ok();
  finished_ = true;
  Status ended = Status::Ok();
  if (!ended_) {
    ended_ = true;
    ended = client_.EndSession();
  }
  Status closed = stream_->Close();
  if (!ended.ok()) return ended;
  return closed;
}

}  // namespace vorn_cli
