#include "desktop/sync/sync_contract_registry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "desktop/formats/json_text.h"

namespace desktop {
namespace {

// The string member `key`; empty when absent or of another kind.
std::string Member(const Json& object, const char* key) {
  auto value = object.find(key);
  return value != object.end() && value->is_string() ? value->get<std::string>()
                                                     : std::string();
}

// mkdir -p for the registry's folder.
Status MakeDirectories(const std::string& path) {
  for (std::size_t at = 1; at <= path.size(); ++at) {
    if (at != path.size() && path[at] != '/') continue;
    std::string prefix = path.substr(0, at);
    if (mkdir(prefix.c_str(), 0777) != 0 && errno != EEXIST) {
      return Status::Error("cannot create " + prefix + ": " +
                           std::strerror(errno));
    }
  }
  return Status::Ok();
}

}  // namespace

Result<std::string> SyncContractRegistry::DefaultPath() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config != nullptr && config[0] == '/') {
    return std::string(config) + "/vorn/contracts.json";
  }
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] != '\0') {
    return std::string(home) + "/.config/vorn/contracts.json";
  }
  return Status::Error("neither XDG_CONFIG_HOME nor HOME is set");
}

Result<SyncContractRegistry> SyncContractRegistry::Load(
    const std::string& path) {
  SyncContractRegistry registry;
  registry.path_ = path;
  struct stat st;
  if (stat(path.c_str(), &st) != 0 && errno == ENOENT) return registry;
  std::ifstream file(path, std::ios::binary);
  if (!file) return Status::Error("cannot read " + path);
  std::stringstream text;
  text << file.rdbuf();
  Result<Json> json = JsonText::Parse(text.str());
  if (!json.ok()) return json.status().WithContext(path);
  const Json* list = nullptr;
  if (json->is_object()) {
    auto found = json->find("contracts");
    if (found != json->end() && found->is_array()) list = &*found;
  }
  if (list == nullptr) {
    return Status::Error(path + ": no \"contracts\" array");
  }
  for (const Json& item : *list) {
    if (!item.is_object()) continue;
    Entry entry{Member(item, "partner"), Member(item, "machine_id"),
                Member(item, "directory"), Member(item, "last_run")};
    if (!entry.partner.empty()) registry.entries_.push_back(entry);
  }
  return registry;
}

Status SyncContractRegistry::Save() const {
  std::size_t slash = path_.rfind('/');
  if (slash != std::string::npos && slash > 0) {
    VORN_RETURN_IF_ERROR(MakeDirectories(path_.substr(0, slash)));
  }
  Json list = Json::array();
  for (const Entry& entry : entries_) {
    Json item = Json::object();
    item["partner"] = entry.partner;
    item["machine_id"] = entry.machine_id;
    item["directory"] = entry.directory;
    item["last_run"] = entry.last_run;
    list.push_back(std::move(item));
  }
  Json root = Json::object();
  root["contracts"] = std::move(list);
  std::string text = JsonText::Write(root) + "\n";

  std::string temp = path_ + ".tmp." + std::to_string(getpid());
  int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) {
    return Status::Error("cannot write " + temp + ": " + std::strerror(errno));
  }
  bool ok = write(fd, text.data(), text.size()) ==
                static_cast<ssize_t>(text.size()) &&
            fsync(fd) == 0;
  ok = close(fd) == 0 && ok;
  if (!ok || rename(temp.c_str(), path_.c_str()) != 0) {
    std::string why = std::strerror(errno);
    unlink(temp.c_str());
    return Status::Error("cannot write " + path_ + ": " + why);
  }
  return Status::Ok();
}

void SyncContractRegistry::Upsert(const Entry& entry) {
  for (Entry& existing : entries_) {
    if (existing.partner == entry.partner &&
        existing.machine_id == entry.machine_id) {
      existing = entry;
      return;
    }
  }
  entries_.push_back(entry);
}

std::size_t SyncContractRegistry::Remove(const std::string& partner,
                                         const std::string& machine_id) {
  return std::erase_if(entries_, [&](const Entry& entry) {
    return entry.partner == partner &&
           (machine_id.empty() || entry.machine_id == machine_id);
  });
}

}  // namespace desktop
