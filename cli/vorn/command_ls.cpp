// vorn ls TYPE: the object ids of every record.
#include <cstdio>

#include "cli/vorn/commands.h"
#include "cli/vorn/session.h"
#include "desktop/formats/json_text.h"

namespace vorn_cli {

int RunLs(const CommandLine& line, protocol::DataType type) {
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  auto list = (*session)->client().GetAllRecords(type);
  if (!list.ok()) return Fail(list.status().message());
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  if (line.json) {
    desktop::Json oids = desktop::Json::array();
    for (std::uint32_t oid : list->oids) oids.push_back(oid);
    desktop::Json out = desktop::Json::object();
    out["type"] = DataTypeName(type);
    out["complete"] = list->header.complete;
    out["oids"] = std::move(oids);
    std::printf("%s\n", desktop::JsonText::Write(out).c_str());
  } else {
    for (std::uint32_t oid : list->oids) std::printf("%u\n", oid);
  }
  if (!list->header.complete) {
    return Fail(std::string("the handheld could not open its ") +
                DataTypeName(type) + " database");
  }
  return 0;
}

}  // namespace vorn_cli
