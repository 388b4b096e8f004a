#include "tests/support/program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace testing_support {
namespace {

std::vector<char*> Argv(std::vector<std::string>& args) {
  std::vector<char*> argv;
  argv.reserve(args.size() + 1);
  for (auto& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  return argv;
}

int ExitCode(int status) {
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
  return -1;
}

}  // namespace

std::string ProgramPath(const std::string& name) {
  return std::string(VORN_BIN_DIR) + "/" + name;
}

ProgramResult RunProgram(const std::vector<std::string>& argv,
                         const Bytes& input) {
  std::vector<std::string> args = argv;
  args[0] = ProgramPath(args[0]);
  int in[2], out[2], err[2];
  if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0) {
    throw std::runtime_error("pipe failed");
  }
  pid_t pid = fork();
  if (pid == 0) {
    dup2(in[0], 0);
    dup2(out[1], 1);
    dup2(err[1], 2);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
    auto raw = Argv(args);
    execv(raw[0], raw.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  signal(SIGPIPE, SIG_IGN);
  ProgramResult result;
  std::size_t written = 0;
  if (input.empty()) {
    close(in[1]);
    in[1] = -1;
  }
  bool outOpen = true, errOpen = true;
  while (outOpen || errOpen || in[1] >= 0) {
    pollfd fds[3] = {{out[0], static_cast<short>(outOpen ? POLLIN : 0), 0},
                     {err[0], static_cast<short>(errOpen ? POLLIN : 0), 0},
                     {in[1], static_cast<short>(in[1] >= 0 ? POLLOUT : 0), 0}};
    if (poll(fds, 3, 30000) <= 0) break;
    char buffer[65536];
    if (outOpen && (fds[0].revents & (POLLIN | POLLHUP)) != 0) {
      ssize_t n = read(out[0], buffer, sizeof(buffer));
      if (n <= 0)
        outOpen = false;
      else
        result.out.insert(result.out.end(), buffer, buffer + n);
    }
    if (errOpen && (fds[1].revents & (POLLIN | POLLHUP)) != 0) {
      ssize_t n = read(err[0], buffer, sizeof(buffer));
      if (n <= 0)
        errOpen = false;
      else
        result.err.append(buffer, static_cast<std::size_t>(n));
    }
    if (in[1] >= 0 && (fds[2].revents & (POLLOUT | POLLERR | POLLHUP)) != 0) {
      ssize_t n = write(in[1], input.data() + written, input.size() - written);
      if (n > 0) written += static_cast<std::size_t>(n);
      if (n <= 0 || written == input.size()) {
        close(in[1]);
        in[1] = -1;
      }
    }
  }
  close(out[0]);
  close(err[0]);
  if (in[1] >= 0) close(in[1]);
  int status = 0;
  waitpid(pid, &status, 0);
  result.exitCode = ExitCode(status);
  return result;
}

TempDir::TempDir() {
  char pattern[] = "/tmp/vorn-test-XXXXXX";
  char* made = mkdtemp(pattern);
  if (made == nullptr) throw std::runtime_error("mkdtemp failed");
  dir_ = made;
}

TempDir::~TempDir() {
  std::error_code error;
  std::filesystem::remove_all(dir_, error);
}

ListeningServer::ListeningServer(const std::string& image,
                                 const std::vector<std::string>& extra,
                                 const std::vector<std::string>& listen) {
  std::vector<std::string> args = {ProgramPath("vorn-device"), "serve", image};
  args.insert(args.end(), listen.begin(), listen.end());
  args.insert(args.end(), extra.begin(), extra.end());
  int err[2];
  if (pipe(err) != 0) throw std::runtime_error("pipe failed");
  pid_ = fork();
  if (pid_ == 0) {
    int devnull = open("/dev/null", O_RDWR);
    dup2(devnull, 0);
    dup2(devnull, 1);
    dup2(err[1], 2);
    close(err[0]);
    close(err[1]);
    auto raw = Argv(args);
    execv(raw[0], raw.data());
    _exit(127);
  }
  close(err[1]);
  errFd_ = err[0];
  // Wait for the line that names the address.
  const std::string marker = "listening on ";
  while (true) {
    pollfd fd = {errFd_, POLLIN, 0};
    if (poll(&fd, 1, 10000) <= 0) break;
    char buffer[4096];
    ssize_t n = read(errFd_, buffer, sizeof(buffer));
    if (n <= 0) break;
    err_.append(buffer, static_cast<std::size_t>(n));
    auto at = err_.find(marker);
    if (at != std::string::npos) {
      auto end = err_.find('\n', at);
      if (end != std::string::npos) {
        address_ = err_.substr(at + marker.size(), end - at - marker.size());
        break;
      }
    }
  }
}

ListeningServer::~ListeningServer() {
  if (pid_ > 0) Stop();
}

int ListeningServer::Stop() {
  if (pid_ <= 0) return -1;
  kill(pid_, SIGINT);
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  char buffer[4096];
  ssize_t n;
  while ((n = read(errFd_, buffer, sizeof(buffer))) > 0) {
    err_.append(buffer, static_cast<std::size_t>(n));
  }
  close(errFd_);
  return ExitCode(status);
}

Bytes ReadFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in),
               std::istreambuf_iterator<char>());
}

void WriteFileBytes(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
}

}  // namespace testing_support
