// vorn raw: packets in hex out, reply payloads in hex back.
#include <cstdio>

#include "cli/vorn/commands.h"
#include "cli/vorn/hex.h"
#include "cli/vorn/session.h"
#include "desktop/formats/json_text.h"

namespace vorn_cli {

int RunRaw(const CommandLine& line,
           const std::vector<std::vector<std::uint8_t>>& packets) {
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::Json replies = desktop::Json::array();
  for (const auto& packet : packets) {
    auto reply = (*session)->client().Exchange(packet);
    if (!reply.ok()) {
      (*session)->MarkEnded();
      (void)(*session)->Finish();
      return Fail(reply.status().message());
    }
    if (line.json) {
      replies.push_back(ToHex(*reply));
    } else {
      std::printf("%s\n", ToHex(*reply).c_str());
      std::fflush(stdout);
    }
    if (packet[0] == 1) (*session)->MarkEnded();
  }
  if (line.json) std::printf("%s\n", desktop::JsonText::Write(replies).c_str());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  return 0;
}

}  // namespace vorn_cli
