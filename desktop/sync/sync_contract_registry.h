// The contracts this desktop made with handhelds, kept in one small JSON
// file so that `vorn contracts` can list them and remove them again:
//
//   $XDG_CONFIG_HOME/vorn/contracts.json (else ~/.config/vorn/contracts.json)
//   {"contracts": [{"partner": "...", "machine_id": "...",
//                   "directory": "/abs/dir", "last_run": "..."}]}
//
// One entry per partner name and handheld. The file is rewritten whole and
// atomically; it grows with the number of mirror directories, never with
// the number of contacts.
#ifndef VORN_DESKTOP_SYNC_SYNC_CONTRACT_REGISTRY_H_
#define VORN_DESKTOP_SYNC_SYNC_CONTRACT_REGISTRY_H_

#include <string>
#include <vector>

#include "desktop/base/status.h"

namespace desktop {

class SyncContractRegistry {
 public:
  struct Entry {
    std::string partner;
    std::string machine_id;
    std::string directory;
    std::string last_run;  // empty while no run finished
    bool operator==(const Entry&) const = default;
  };

  // The file's default place from $XDG_CONFIG_HOME or $HOME; fails when
  // neither is set.
  static Result<std::string> DefaultPath();

  // Reads the registry at `path`; a missing file is an empty registry.
  static Result<SyncContractRegistry> Load(const std::string& path);

  // Writes it back to the path it was loaded from, creating the directory
  // when missing.
  Status Save() const;

  // Adds or replaces the entry of the same partner and machine id.
  void Upsert(const Entry& entry);
  // Removes the entries of `partner` (of every handheld when `machine_id`
  // is empty); returns how many were removed.
  std::size_t Remove(const std::string& partner, const std::string& machine_id);

  const std::vector<Entry>& entries() const { return entries_; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::vector<Entry> entries_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_CONTRACT_REGISTRY_H_
