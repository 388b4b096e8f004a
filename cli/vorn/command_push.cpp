// vorn push HOST_FILE DEVICE_PATH: copy a file to the handheld in pieces.
#include <algorithm>
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
    "usage: vorn push HOST_FILE DEVICE_PATH [--append] [--json]\n"
    "\n"
    "Copies HOST_FILE to DEVICE_PATH on the handheld (e.g.\n"
    "'\\My Documents\\notes.txt'). The handheld can only append to a file,\n"
    "so an existing DEVICE_PATH is refused unless --append is given.\n";
}  // namespace

int RunPush(const CommandLine& line) {
  if (line.help) return PrintHelp(kHelp);
  if (auto s = line.OnlyFlags({"--append"}); !s.ok()) {
    return UsageError(s.message());
  }
  if (line.args.size() != 2) {
    return UsageError("push needs HOST_FILE and DEVICE_PATH");
  }
  const std::string& host_path = line.args[0];
  std::u16string device_path = desktop::Utf8ToUtf16(line.args[1]);
  std::ifstream file(host_path, std::ios::binary);
  if (!file) return Fail("cannot read " + host_path);
  std::vector<std::uint8_t> data((std::istreambuf_iterator<char>(file)),
                                 std::istreambuf_iterator<char>());

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::HandheldClient& client = (*session)->client();
  if (!line.Flag("--append")) {
    auto probe = client.ReadFileData(device_path, 0, 1);
    if (!probe.ok()) return Fail(probe.status().message());
    if (probe->ok) {
      return Fail(line.args[1] +
                  " already exists on the handheld (use --append to add to "
                  "it)");
    }
  }
  ProgressLine progress("pushing " + host_path);
  std::size_t done = 0;
  do {
    std::size_t piece =
        std::min<std::size_t>(data.size() - done, protocol::kMaxFileReadPiece);
    auto written =
        client.WriteFileData(device_path, std::span(data).subspan(done, piece));
    if (!written.ok()) return Fail(written.status().message());
    if (!written->ok) {
      return Fail("the handheld could not write " + line.args[1] + " (error " +
                  std::to_string(written->error) + ")");
    }
    done += piece;
    progress.Update(done, data.size());
  } while (done < data.size());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (line.json) {
    desktop::Json out = desktop::Json::object();
    out["device_path"] = line.args[1];
    out["bytes"] = done;
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    std::printf("pushed %zu bytes to %s\n", done, line.args[1].c_str());
  }
  return 0;
}

}  // namespace vorn_cli
