#include "device/image/fault_set.h"

#include <algorithm>

namespace device {
namespace {

const FaultInfo* Find(std::string_view name) {
  const auto& catalog = FaultSet::Catalog();
  auto it = std::find_if(catalog.begin(), catalog.end(),
                         [&](const FaultInfo& f) { return f.name == name; });
  return it == catalog.end() ? nullptr : &*it;
}

}  // namespace

FaultSet::FaultSet(DeviceImage& image) : image_(image) {
  image_.Exec(
      "CREATE TABLE IF NOT EXISTS faults(name TEXT PRIMARY KEY, "
      "value TEXT NOT NULL)");
}

const std::vector<FaultInfo>& FaultSet::Catalog() {
  static const std::vector<FaultInfo> kCatalog = {
      {"cocreate-fails", "",
       "the first creation of the object model's application object in each "
       "conversation fails with REGDB_E_CLASSNOTREG"},
      {"cocreate-fails-always", "",
       "every creation of the application object fails with "
       "REGDB_E_CLASSNOTREG"},
      {"pimstore-missing", "", "LoadLibraryW(\"pimstore.dll\") fails"},
      {"register-fails", "",
       "the object model server's DllRegisterServer returns E_FAIL"},
      {"logon-fails", "", "IPOutlookApp::Logon returns E_FAIL"},
      {"contact-save", "HRESULT",
       "IContact::Save returns this HRESULT (e.g. 0x80004005) without saving"},
      {"appointment-save", "HRESULT [COUNT]",
       "IAppointment::Save returns this HRESULT (e.g. 0x80040067) without "
       "saving; with COUNT only the next COUNT saves fail"},
      {"task-save", "HRESULT [COUNT]",
       "ITask::Save returns this HRESULT (e.g. 0x80004005) without saving; "
       "with COUNT only the next COUNT saves fail"},
      {"mapi-missing", "",
       "LoadLibraryW(\"CEMAPI.DLL\") fails and a module loaded before "
       "gives no exports"},
      {"mapi-busy", "FOLDER COUNT",
       "WaitForCompletion on the contents table of FOLDER (deleted, drafts, "
       "sent, outbox, inbox) times out the next COUNT times"},
  };
  return kCatalog;
}

Status FaultSet::Set(std::string_view name, std::string_view value) {
  const FaultInfo* info = Find(name);
  if (info == nullptr) {
    return Status::Error("unknown fault '" + std::string(name) +
                         "' (see: fault list)");
  }
  if (!info->value.empty() && value.empty()) {
    return Status::Error("fault '" + std::string(name) + "' needs a value (" +
                         std::string(info->value) + ")");
  }
  if (info->value.empty() && !value.empty()) {
    return Status::Error("fault '" + std::string(name) + "' takes no value");
  }
  image_
      .Prepare(
          "INSERT INTO faults(name, value) VALUES(?, ?) "
          "ON CONFLICT(name) DO UPDATE SET value=excluded.value")
      .Bind(1, name)
      .Bind(2, value)
      .Run();
  return Status::Ok();
}

Status FaultSet::Clear(std::string_view name) {
  if (name.empty()) {
    image_.Exec("DELETE FROM faults");
    return Status::Ok();
  }
  if (Find(name) == nullptr) {
    return Status::Error("unknown fault '" + std::string(name) +
                         "' (see: fault list)");
  }
  image_.Prepare("DELETE FROM faults WHERE name=?").Bind(1, name).Run();
  return Status::Ok();
}

bool FaultSet::IsSet(std::string_view name) const {
  return Value(name).has_value();
}

std::optional<std::string> FaultSet::Value(std::string_view name) const {
  Statement& statement = image_.Cached("SELECT value FROM faults WHERE name=?");
  statement.Bind(1, name);
  std::optional<std::string> value;
  if (statement.Step()) value = statement.Text(0);
  statement.Reset();
  return value;
}

std::vector<std::pair<std::string, std::string>> FaultSet::List() const {
  std::vector<std::pair<std::string, std::string>> result;
  Statement statement =
      image_.Prepare("SELECT name, value FROM faults ORDER BY name");
  while (statement.Step())
    result.emplace_back(statement.Text(0), statement.Text(1));
  return result;
}

}  // namespace device
