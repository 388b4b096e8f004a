// Runs the project's programs for whole-conversation tests.
#ifndef VORN_TESTS_SUPPORT_PROGRAM_H_
#define VORN_TESTS_SUPPORT_PROGRAM_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/support/packet_builder.h"

namespace testing_support {

struct ProgramResult {
  int exitCode = -1;
  Bytes out;
  std::string err;
  std::string outText() const { return std::string(out.begin(), out.end()); }
};

// The path of a program built next to the tests (vorn-device, vorn).
std::string ProgramPath(const std::string& name);

// Runs `argv` (argv[0] a program name resolved with ProgramPath) with
// `input` on standard input, and waits for it.
ProgramResult RunProgram(const std::vector<std::string>& argv,
                         const Bytes& input = {});

// A fresh temporary directory, removed with the object.
class TempDir {
 public:
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();
  std::string path(const std::string& name) const { return dir_ + "/" + name; }

 private:
  std::string dir_;
};

// `vorn-device serve IMAGE --listen 127.0.0.1:0` in the background (or
// with the listening options `listen` in place of --listen).
class ListeningServer {
 public:
  explicit ListeningServer(const std::string& image,
                           const std::vector<std::string>& extra = {},
                           const std::vector<std::string>& listen = {
                               "--listen", "127.0.0.1:0"});
  ListeningServer(const ListeningServer&) = delete;
  ListeningServer& operator=(const ListeningServer&) = delete;
  // Stops the server if it still runs.
  ~ListeningServer();

  // "127.0.0.1:PORT" (the first address the server printed), empty when
  // the server did not start.
  const std::string& address() const { return address_; }
  // Sends SIGINT and returns the exit status; the standard error text so
  // far is in err().
  int Stop();
  const std::string& err() const { return err_; }

 private:
  pid_t pid_ = -1;
  int errFd_ = -1;
  std::string address_;
  std::string err_;
};

// Reads whole files.
Bytes ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, const Bytes& bytes);

}  // namespace testing_support

#endif  // VORN_TESTS_SUPPORT_PROGRAM_H_
