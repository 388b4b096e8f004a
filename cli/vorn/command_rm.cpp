// vorn rm TYPE OID...: delete records.
#include <algorithm>
#include <cstdio>

#include "cli/vorn/commands.h"
#include "cli/vorn/session.h"
#include "desktop/formats/json_text.h"

namespace vorn_cli {

int RunRm(const CommandLine& line, protocol::DataType type,
          const std::vector<std::uint32_t>& oids) {
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  auto deleted = (*session)->client().DeleteRecords(type, oids);
  if (!deleted.ok()) return Fail(deleted.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (line.json) {
    desktop::Json list = desktop::Json::array();
    for (std::uint32_t oid : *deleted) list.push_back(oid);
    desktop::Json out = desktop::Json::object();
    out["deleted"] = std::move(list);
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    for (std::uint32_t oid : *deleted) std::printf("deleted %u\n", oid);
  }
  int status = 0;
  for (std::uint32_t oid : oids) {
    if (std::find(deleted->begin(), deleted->end(), oid) == deleted->end()) {
      status = Fail("could not delete " + std::string(DataTypeName(type)) +
                    " record " + std::to_string(oid));
    }
  }
  return status;
}

}  // namespace vorn_cli
