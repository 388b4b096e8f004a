// vorn raw: packets in hex out, reply payloads in hex back.
#include <cstdio>

#include "cli/vorn/commands.h"
#include "cli/vorn/hex.h"
#include "cli/vorn/session.h"
#include "desktop/formats/json_text.h"

namespace vorn_cli {

namespace {
constexpr char kHelp[] =
    "usage: vorn raw HEX... [--json]\n"
    "\n"
    "Sends each argument as one request packet (command byte, data type\n"
    "byte, arguments; without the length, which is added) and prints each\n"
    "reply frame's payload in hex, one line per reply (an empty line for an\n"
    "empty reply). Ends with command 1 unless the last packet was one.\n"
    "With --json: an array of the replies as hex strings.\n"
    "example: vorn --image dev.img raw 0601 0e01\n";
}  // namespace

int RunRaw(const CommandLine& line) {
  if (line.help) return PrintHelp(kHelp);
  if (auto s = line.OnlyFlags({}); !s.ok()) return UsageError(s.message());
  if (line.args.empty()) return UsageError("raw needs at least one packet");
  std::vector<std::vector<std::uint8_t>> packets;
  for (const std::string& arg : line.args) {
    auto packet = ParseHex(arg);
    if (!packet.ok()) return UsageError(packet.status().message());
    if (packet->size() < 2) {
      return UsageError("packet \"" + arg +
                        "\" needs at least a command and a data type byte");
    }
    packets.push_back(std::move(*packet));
  }
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
