// vorn info: who the handheld is.
#include <cstdio>

#include "cli/vorn/commands.h"
#include "cli/vorn/session.h"
#include "desktop/base/utf16.h"
#include "desktop/formats/json_text.h"

namespace vorn_cli {

int RunInfo(const CommandLine& line) {
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  auto id = (*session)->client().GetMachineId();
  if (!id.ok()) return Fail(id.status().message());
  auto mapi = (*session)->client().CheckOsVersion();
  if (!mapi.ok()) return Fail(mapi.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  std::string machine = desktop::Utf16ToUtf8(*id);
  if (line.json) {
    desktop::Json out = desktop::Json::object();
    out["machine_id"] = machine;
    out["mapi"] = *mapi;
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    std::printf("machine id:  %s\n",
                machine.empty() ? "(none)" : machine.c_str());
    std::printf("mail system: %s\n",
                *mapi ? "MAPI (system version test passed)"
                      : "message store (system version test failed)");
  }
  return 0;
}

}  // namespace vorn_cli
