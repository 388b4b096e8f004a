#include "desktop/transport/child_process_stream.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace desktop {
namespace {

bool IsExecutable(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
         access(path.c_str(), X_OK) == 0;
}

std::string DescribeWaitStatus(const std::string& name, int status) {
  if (WIFEXITED(status)) {
    return name + " exited with status " + std::to_string(WEXITSTATUS(status));
  }
  if (WIFSIGNALED(status)) {
    return name + " was killed by signal " + std::to_string(WTERMSIG(status));
  }
  return name + " ended abnormally";
}

}  // namespace

Result<std::string> ChildProcessStream::FindDeviceProgram() {
  if (const char* env = std::getenv("VORN_DEVICE"); env != nullptr && *env) {
    if (!IsExecutable(env)) {
      return Status::Error(std::string("VORN_DEVICE names ") + env +
                           ", which is not an executable file");
    }
    return std::string(env);
  }
  char self[4096];
  ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
  if (n > 0) {
    std::string dir(self, static_cast<std::size_t>(n));
    dir.erase(dir.find_last_of('/') + 1);
    if (IsExecutable(dir + "vorn-device")) return dir + "vorn-device";
  }
  if (const char* path = std::getenv("PATH"); path != nullptr) {
    std::string_view rest(path);
    while (!rest.empty()) {
      std::size_t colon = rest.find(':');
      std::string dir(rest.substr(0, colon));
      rest = colon == std::string_view::npos ? std::string_view()
                                             : rest.substr(colon + 1);
      if (dir.empty()) dir = ".";
      if (IsExecutable(dir + "/vorn-device")) return dir + "/vorn-device";
    }
  }
  return Status::Error(
      "cannot find vorn-device (set VORN_DEVICE or put it on PATH)");
}

Result<std::unique_ptr<ChildProcessStream>> ChildProcessStream::SpawnDevice(
    const std::string& image) {
  Result<std::string> program = FindDeviceProgram();
  if (!program.ok()) return program.status();
  return Spawn({*program, "serve", image, "--stdio"});
}

Result<std::unique_ptr<ChildProcessStream>> ChildProcessStream::Spawn(
    const std::vector<std::string>& argv) {
  if (argv.empty()) return Status::Error("no program to start");
  signal(SIGPIPE, SIG_IGN);
  int to_child[2], from_child[2], exec_error[2];
  if (pipe2(to_child, O_CLOEXEC) != 0) {
    return Status::Error(std::string("pipe: ") + std::strerror(errno));
  }
  if (pipe2(from_child, O_CLOEXEC) != 0) {
    close(to_child[0]);
    close(to_child[1]);
    return Status::Error(std::string("pipe: ") + std::strerror(errno));
  }
  if (pipe2(exec_error, O_CLOEXEC) != 0) {
    for (int fd : {to_child[0], to_child[1], from_child[0], from_child[1]}) {
      close(fd);
    }
    return Status::Error(std::string("pipe: ") + std::strerror(errno));
  }
  std::vector<char*> args;
  args.reserve(argv.size() + 1);
  for (const std::string& a : argv)
    args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);

  pid_t pid = fork();
  if (pid == 0) {
    // Child: only async-signal-safe calls from here on.
    dup2(to_child[0], STDIN_FILENO);
    dup2(from_child[1], STDOUT_FILENO);
    signal(SIGPIPE, SIG_DFL);
    execv(args[0], args.data());
    int err = errno;
    ssize_t ignored = write(exec_error[1], &err, sizeof err);
    (void)ignored;
    _exit(127);
  }
  int fork_errno = errno;
  close(to_child[0]);
  close(from_child[1]);
  close(exec_error[1]);
  if (pid < 0) {
    close(to_child[1]);
    close(from_child[0]);
    close(exec_error[0]);
    return Status::Error(std::string("fork: ") + std::strerror(fork_errno));
  }
  int child_errno = 0;
  ssize_t got;
  do {
    got = read(exec_error[0], &child_errno, sizeof child_errno);
  } while (got < 0 && errno == EINTR);
  close(exec_error[0]);
  if (got == sizeof child_errno) {
    close(to_child[1]);
    close(from_child[0]);
    waitpid(pid, nullptr, 0);
    return Status::Error("cannot run " + argv[0] + ": " +
                         std::strerror(child_errno));
  }
  std::string name = argv[0].substr(argv[0].find_last_of('/') + 1);
  return std::unique_ptr<ChildProcessStream>(
      new ChildProcessStream(pid, from_child[0], to_child[1], name));
}

ChildProcessStream::~ChildProcessStream() {
  CloseDescriptors();
  Reap(2000);
}

Status ChildProcessStream::Close() {
  CloseWriteSide();
  CloseDescriptors();
  if (pid_ <= 0) return Status::Ok();
  int status = Reap(10000);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return Status::Ok();
  return Status::Error(DescribeWaitStatus(name_, status));
}

int ChildProcessStream::Reap(int grace_ms) {
  if (pid_ <= 0) return 0;
  int status = 0;
  for (int waited = 0;; waited += 10) {
    pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_ || (done < 0 && errno != EINTR)) break;
    if (waited >= grace_ms) {
      kill(pid_, SIGKILL);
      waitpid(pid_, &status, 0);
      break;
    }
    usleep(10'000);
  }
  pid_ = -1;
  return status;
}

}  // namespace desktop
