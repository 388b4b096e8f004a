// vorn count TYPE: how many records the handheld holds.
#include <cstdio>

#include "cli/vorn/commands.h"
#include "cli/vorn/session.h"
#include "desktop/formats/json_text.h"

namespace vorn_cli {

int RunCount(const CommandLine& line, protocol::DataType type) {
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  auto count = (*session)->client().GetRecordCount(type);
  if (!count.ok()) return Fail(count.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (line.json) {
    desktop::Json out = desktop::Json::object();
    out["type"] = DataTypeName(type);
    out["count"] = *count;
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    std::printf("%u\n", *count);
  }
  return 0;
}

}  // namespace vorn_cli
