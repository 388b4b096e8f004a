// vorn contracts [rm NAME]: the contracts this desktop made with handhelds.
#include <cstdio>
#include <utility>

#include "cli/vorn/commands.h"
#include "cli/vorn/session.h"
#include "desktop/base/utf16.h"
#include "desktop/formats/json_text.h"
#include "desktop/sync/sync_contract_registry.h"
#include "desktop/sync/sync_engine.h"

namespace vorn_cli {

namespace {

using desktop::Json;
using desktop::SyncContractRegistry;

int List(const CommandLine& line, SyncContractRegistry& registry) {
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::HandheldClient& client = (*session)->client();
  auto machine16 = client.GetMachineId();
  if (!machine16.ok()) return Fail(machine16.status().message());
  std::string machine = desktop::Utf16ToUtf8(*machine16);

  Json list = Json::array();
  std::vector<std::string> confirmed;
  for (const auto& entry : registry.entries()) {
    std::string answer = "other handheld";
    if (entry.machine_id == machine) {
      auto found = client.FindContract(protocol::DataType::kContacts,
                                       desktop::Utf8ToUtf16(entry.partner));
      if (!found.ok()) return Fail(found.status().message());
      answer = *found ? "yes" : "no";
    }
    confirmed.push_back(answer);
  }
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());

  const auto& entries = registry.entries();
  if (line.json) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      Json item = Json::object();
      item["partner"] = entries[i].partner;
      item["machine_id"] = entries[i].machine_id;
      item["directory"] = entries[i].directory;
      item["last_run"] = entries[i].last_run;
      item["confirmed"] = confirmed[i] == "other handheld"
                              ? Json()
                              : Json(confirmed[i] == "yes");
      list.push_back(std::move(item));
    }
    std::printf("%s\n", desktop::JsonText::Write(list).c_str());
    return 0;
  }
  if (entries.empty()) {
    std::printf("no contracts known (%s)\n", registry.path().c_str());
    return 0;
  }
  std::printf("%-32s %-14s %-20s %s\n", "PARTNER", "ON HANDHELD", "LAST RUN",
              "DIRECTORY");
  for (std::size_t i = 0; i < entries.size(); ++i) {
    std::printf("%-32s %-14s %-20s %s\n", entries[i].partner.c_str(),
                confirmed[i].c_str(),
                entries[i].last_run.empty() ? "-" : entries[i].last_run.c_str(),
                entries[i].directory.c_str());
  }
  return 0;
}

int Remove(const CommandLine& line, SyncContractRegistry& registry,
           const std::string& name) {
  auto session = Session::Open(line);
  if (!session.ok()) return Fail(session.status().message());
  desktop::HandheldClient& client = (*session)->client();
  auto machine16 = client.GetMachineId();
  if (!machine16.ok()) return Fail(machine16.status().message());
  std::u16string name16 = desktop::Utf8ToUtf16(name);
  auto existed = client.FindContract(protocol::DataType::kContacts, name16);
  if (!existed.ok()) return Fail(existed.status().message());
  if (auto s = client.DeleteContract(protocol::DataType::kContacts, name16);
      !s.ok()) {
    return Fail(s.message());
  }
  // The contracts of the calendar and the tasks go with it.
  for (auto [type, collection] :
       {std::pair{protocol::DataType::kAppointments, "calendar"},
        std::pair{protocol::DataType::kTasks, "tasks"}}) {
    std::u16string other = desktop::Utf8ToUtf16(
        desktop::SyncEngine::ContractName(name, collection));
    auto found = client.FindContract(type, other);
    if (!found.ok()) return Fail(found.status().message());
    if (!*found) continue;
    if (auto s = client.DeleteContract(type, other); !s.ok()) {
      return Fail(s.message());
    }
  }
  if (auto s = (*session)->Finish(); !s.ok()) return Fail(s.message());
  std::size_t forgotten =
      registry.Remove(name, desktop::Utf16ToUtf8(*machine16));
  if (forgotten > 0) {
    if (auto s = registry.Save(); !s.ok()) return Fail(s.message());
  }
  if (line.json) {
    Json out = Json::object();
    out["partner"] = name;
    out["was_on_handheld"] = *existed;
    out["forgotten"] = forgotten > 0;
    std::printf("%s\n", desktop::JsonText::Write(out, 0).c_str());
  } else {
    std::printf("%s contract %s%s\n",
                *existed ? "deleted" : "the handheld had no", name.c_str(),
                forgotten > 0 ? "" : " (it was not known here)");
  }
  return 0;
}

}  // namespace

int RunContracts(const CommandLine& line, const std::string& remove) {
  auto path = SyncContractRegistry::DefaultPath();
  if (!path.ok()) return Fail(path.status().message());
  auto registry = SyncContractRegistry::Load(*path);
  if (!registry.ok()) return Fail(registry.status().message());
  return !remove.empty() ? Remove(line, *registry, remove)
                         : List(line, *registry);
}

}  // namespace vorn_cli
