// The commands of `vorn`, called with their arguments already checked.
// Each returns the process exit status: 0 success, 1 failure.
#ifndef VORN_CLI_VORN_COMMANDS_H_
#define VORN_CLI_VORN_COMMANDS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "cli/vorn/command_line.h"

namespace vorn_cli {

int RunRaw(const CommandLine& line,
           const std::vector<std::vector<std::uint8_t>>& packets);
int RunInfo(const CommandLine& line);
int RunCount(const CommandLine& line, protocol::DataType type);
int RunLs(const CommandLine& line, protocol::DataType type);
int RunGet(const CommandLine& line, protocol::DataType type,
           const std::vector<std::uint32_t>& oids, bool vcard);
int RunPut(const CommandLine& line, const std::string& path);
// Mail: a summary of each message, or (`eml`) the one message as an RFC 5322
// file on standard output.
int RunGetMail(const CommandLine& line, const std::vector<std::uint32_t>& keys,
               bool eml);
// True for a file `vorn put` sends as mail (.eml).
bool IsMailFile(const std::string& path);
// Adds the message of the RFC 5322 file `path` to `folder` ("drafts",
// "outbox").
int RunPutMail(const CommandLine& line, const std::string& path,
               const std::string& folder);
int RunRm(const CommandLine& line, protocol::DataType type,
          const std::vector<std::uint32_t>& oids);
int RunPush(const CommandLine& line, const std::string& host_path,
            const std::string& device_file, bool append);
int RunPull(const CommandLine& line, const std::string& device_file,
            const std::string& host_path);
int RunExport(const CommandLine& line, const std::string& dir);
struct SyncRequest {
  std::string dir;
  std::string partner;
  bool one_way = false;
  std::string conflict = "handheld";
  bool force = false;
};
int RunSync(const CommandLine& line, const SyncRequest& request);
// Lists the contracts, or deletes the one named `remove` when not empty.
int RunContracts(const CommandLine& line, const std::string& remove);

// Shared by the commands: a one-line error on standard error; returns 1.
int Fail(const std::string& message);

}  // namespace vorn_cli

#endif  // VORN_CLI_VORN_COMMANDS_H_
