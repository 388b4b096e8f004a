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

int RunPush(const CommandLine& line, const std::string& host_path,
            const std::string& device_file, bool append) {
  std::u16string device_path = desktop::Utf8ToUtf16(device_file);
  std::ifstream file(host_path, std::ios::binary);
  if (!file) return Fail("cannot read " + host_path);
  std::vector<std::uint8_t> data((std::istreambuf_iterator<char>(file)),
                                 std::istreambuf_iterator<char>());

  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::HandheldClient& client = (*session)->client();
  if (!append) {
    auto probe = client.ReadFileData(device_path, 0, 1);
    if (!probe.ok()) return Fail(probe.status().message());
    if (probe->ok) {
      return Fail(device_file +
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
      return Fail("the handheld could not write " + device_file + " (error " +
                  std::to_string(written->error) + ")");
    }
    done += piece;
    progress.Update(done, data.size());
  } while (done < data.size());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (line.json) {
    desktop::Json out = desktop::Json::object();
    out["device_path"] = device_file;
    out["bytes"] = done;
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    std::printf("pushed %zu bytes to %s\n", done, device_file.c_str());
  }
  return 0;
}

}  // namespace vorn_cli
