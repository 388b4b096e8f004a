// vorn pull DEVICE_PATH HOST_FILE: copy a file from the handheld in pieces.
#include <cstdio>
#include <fstream>

#include "cli/vorn/commands.h"
#include "cli/vorn/progress_line.h"
#include "cli/vorn/session.h"
#include "desktop/base/utf16.h"
#include "desktop/formats/json_text.h"

namespace vorn_cli {

namespace {
constexpr char kHelp[] =
    "usage: vorn pull DEVICE_PATH HOST_FILE [--json]\n"
    "\n"
    "Copies DEVICE_PATH from the handheld to HOST_FILE (replaced if it\n"
    "exists), at most 221174 bytes per request.\n";
}  // namespace

int RunPull(const CommandLine& line) {
  if (line.help) return PrintHelp(kHelp);
  if (auto s = line.OnlyFlags({}); !s.ok()) return UsageError(s.message());
  if (line.args.size() != 2) {
    return UsageError("pull needs DEVICE_PATH and HOST_FILE");
  }
  std::u16string device_path = desktop::Utf8ToUtf16(line.args[0]);
  const std::string& host_path = line.args[1];

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::HandheldClient& client = (*session)->client();
  std::vector<std::uint8_t> data;
  ProgressLine progress("pulling " + line.args[0]);
  for (;;) {
    if (data.size() > 0x7FFFFFFFu) {
      return Fail(line.args[0] + " is larger than the handheld can serve");
    }
    auto piece = client.ReadFileData(device_path,
                                     static_cast<std::uint32_t>(data.size()),
                                     protocol::kMaxFileReadPiece);
    if (!piece.ok()) return Fail(piece.status().message());
    if (!piece->ok) {
      return Fail("the handheld could not open " + line.args[0] + " (error " +
                  std::to_string(piece->error) + ")");
    }
    data.insert(data.end(), piece->data.begin(), piece->data.end());
    progress.Update(data.size(), 0);
    if (piece->data.size() < protocol::kMaxFileReadPiece) break;
  }
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  std::ofstream file(host_path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(data.data()),
             static_cast<std::streamsize>(data.size()));
  if (!file.flush()) return Fail("cannot write " + host_path);
  if (line.json) {
    desktop::Json out = desktop::Json::object();
    out["host_file"] = host_path;
    out["bytes"] = data.size();
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    std::printf("pulled %zu bytes to %s\n", data.size(), host_path.c_str());
  }
  return 0;
}

}  // namespace vorn_cli
