#include "desktop/sync/mirror_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace desktop {
namespace {

constexpr char kLockName[] = ".vorn-sync.lock";
constexpr char kTempSuffix[] = ".tmp";

std::string TempName(const std::string& name) {
  return "." + name + kTempSuffix;
}

}  // namespace

Result<std::unique_ptr<MirrorDirectory>> MirrorDirectory::Open(
    const std::string& path) {
  if (path.empty()) return Status::Error("no directory given");
  if (mkdir(path.c_str(), 0777) != 0 && errno != EEXIST) {
    return Status::Error("cannot create " + path + ": " + std::strerror(errno));
  }
  int dir_fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir_fd < 0) {
    return Status::Error(path + " is not a directory: " + std::strerror(errno));
  }
  int lock_fd = openat(dir_fd, kLockName, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (lock_fd < 0) {
    std::string why = std::strerror(errno);
    close(dir_fd);
    return Status::Error("cannot create the lock file in " + path + ": " + why);
  }
  if (flock(lock_fd, LOCK_EX | LOCK_NB) != 0) {
    close(lock_fd);
    close(dir_fd);
    return Status::Error("another sync is writing " + path);
  }
  return std::unique_ptr<MirrorDirectory>(
      new MirrorDirectory(path, dir_fd, lock_fd));
}

MirrorDirectory::~MirrorDirectory() {
  if (lock_fd_ >= 0) close(lock_fd_);  // also drops the lock
  close(dir_fd_);
}

Result<std::unique_ptr<MirrorDirectory>> MirrorDirectory::OpenSubdirectory(
    const std::string& name) {
  if (mkdirat(dir_fd_, name.c_str(), 0777) != 0 && errno != EEXIST) {
    return Error("cannot create", name);
  }
  int fd = openat(dir_fd_, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return Error("cannot open", name);
  return std::unique_ptr<MirrorDirectory>(
      new MirrorDirectory(path_ + "/" + name, fd, -1));
}

Status MirrorDirectory::Error(const std::string& what,
                              const std::string& name) const {
  return Status::Error(what + " " + path_ + "/" + name + ": " +
                       std::strerror(errno));
}

Status MirrorDirectory::WriteWhole(const std::string& name,
                                   std::string_view text, bool sync) {
  int fd = openat(dir_fd_, name.c_str(),
                  O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) return Error("cannot create", name);
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      Status failed = Error("cannot write", name);
      close(fd);
      return failed;
    }
    done += static_cast<std::size_t>(n);
  }
  if (sync && fsync(fd) != 0) {
    Status failed = Error("cannot flush", name);
    close(fd);
    return failed;
  }
  if (close(fd) != 0) return Error("cannot write", name);
  return Status::Ok();
}

Status MirrorDirectory::StageFile(const std::string& name,
                                  std::string_view text) {
  VORN_RETURN_IF_ERROR(WriteWhole(TempName(name), text, false));
  std::erase(staged_, name);
  staged_.push_back(name);
  return Status::Ok();
}

Status MirrorDirectory::CommitStaged() {
  if (staged_.empty()) return Status::Ok();
  // One flush of the file system makes the whole batch durable, which is
  // far cheaper than an fsync per file and gives the same guarantee: no
  // file is renamed into place before its content is on disk.
  if (syncfs(dir_fd_) != 0) return Error("cannot flush", ".");
  std::size_t done = 0;
  for (; done < staged_.size(); ++done) {
    const std::string& name = staged_[done];
    if (renameat(dir_fd_, TempName(name).c_str(), dir_fd_, name.c_str()) != 0) {
      Status failed = Error("cannot rename into", name);
      staged_.erase(staged_.begin(),
                    staged_.begin() + static_cast<std::ptrdiff_t>(done));
      return failed;
    }
  }
  staged_.clear();
  return Status::Ok();
}

Result<bool> MirrorDirectory::RemoveFile(const std::string& name) {
  // A staged copy must not be renamed over the removal later.
  std::erase(staged_, name);
  if (unlinkat(dir_fd_, TempName(name).c_str(), 0) != 0 && errno != ENOENT) {
    return Error("cannot remove", TempName(name));
  }
  if (unlinkat(dir_fd_, name.c_str(), 0) == 0) return true;
  if (errno == ENOENT) return false;
  return Error("cannot remove", name);
}

Status MirrorDirectory::Rename(const std::string& from, const std::string& to) {
  if (renameat(dir_fd_, from.c_str(), dir_fd_, to.c_str()) != 0) {
    return Error("cannot rename " + from + " to", to);
  }
  return Status::Ok();
}

Result<std::optional<std::string>> MirrorDirectory::ReadFile(
    const std::string& name) const {
  int fd = openat(dir_fd_, name.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT) return std::optional<std::string>();
    return Error("cannot open", name);
  }
  std::string text;
  char buffer[8192];
  for (;;) {
    ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      Status failed = Error("cannot read", name);
      close(fd);
      return failed;
    }
    if (n == 0) break;
    text.append(buffer, static_cast<std::size_t>(n));
  }
  close(fd);
  return std::optional<std::string>(std::move(text));
}

namespace {

// Calls `visit` with every entry name of the directory `dir_fd`.
template <typename Visit>
Status ForEachEntry(int dir_fd, const std::string& path, Visit visit) {
  int fd = openat(dir_fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) {
    return Status::Error("cannot list " + path + ": " + std::strerror(errno));
  }
  DIR* dir = fdopendir(fd);
  if (dir == nullptr) {
    close(fd);
    return Status::Error("cannot list " + path + ": " + std::strerror(errno));
  }
  errno = 0;
  while (dirent* entry = readdir(dir)) {
    Status status = visit(std::string_view(entry->d_name));
    if (!status.ok()) {
      closedir(dir);
      return status;
    }
    errno = 0;
  }
  int error = errno;
  closedir(dir);
  if (error != 0) {
    return Status::Error("cannot list " + path + ": " + std::strerror(error));
  }
  return Status::Ok();
}

}  // namespace

namespace {

// The clock that stamps files, read before a stat.
std::int64_t CoarseNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

DirectoryEntry EntryOf(std::string_view name, const struct stat& st,
                       std::int64_t checked) {
  return {std::string(name), static_cast<std::uint64_t>(st.st_size),
          static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1'000'000'000 +
              st.st_mtim.tv_nsec,
          checked};
}

}  // namespace

Result<std::vector<DirectoryEntry>> MirrorDirectory::List(
    std::string_view suffix) const {
  std::vector<DirectoryEntry> out;
  Status listed = ForEachEntry(dir_fd_, path_, [&](std::string_view name) {
    if (name.starts_with(".") || !name.ends_with(suffix)) return Status::Ok();
    struct stat st;
    std::int64_t checked = CoarseNow();
    // Names from readdir end in a NUL.
    if (fstatat(dir_fd_, name.data(), &st, 0) != 0) {
      if (errno == ENOENT) return Status::Ok();
      return Error("cannot read", std::string(name));
    }
    if (S_ISREG(st.st_mode)) out.push_back(EntryOf(name, st, checked));
    return Status::Ok();
  });
  if (!listed.ok()) return listed;
  return out;
}

Result<std::optional<DirectoryEntry>> MirrorDirectory::Stat(
    const std::string& name) const {
  struct stat st;
  std::int64_t checked = CoarseNow();
  if (fstatat(dir_fd_, name.c_str(), &st, 0) != 0) {
    if (errno == ENOENT) return std::optional<DirectoryEntry>();
    return Error("cannot read", name);
  }
  return std::optional<DirectoryEntry>(EntryOf(name, st, checked));
}

Status MirrorDirectory::RemoveStrayTemporaries() {
  std::vector<std::string> stray;
  VORN_RETURN_IF_ERROR(ForEachEntry(dir_fd_, path_, [&](std::string_view name) {
    if (name.starts_with(".") && name.ends_with(kTempSuffix) &&
        name.size() > 1 + std::strlen(kTempSuffix)) {
      stray.emplace_back(name);
    }
    return Status::Ok();
  }));
  for (const std::string& name : stray) {
    if (unlinkat(dir_fd_, name.c_str(), 0) != 0 && errno != ENOENT) {
      return Error("cannot remove", name);
    }
  }
  staged_.clear();
  return Status::Ok();
}

Status MirrorDirectory::SyncDirectory() {
  if (fsync(dir_fd_) != 0) return Error("cannot flush", ".");
  return Status::Ok();
}

Status MirrorDirectory::WriteFileDurably(const std::string& name,
                                         std::string_view text) {
  std::string temp = TempName(name);
  VORN_RETURN_IF_ERROR(WriteWhole(temp, text, true));
  if (renameat(dir_fd_, temp.c_str(), dir_fd_, name.c_str()) != 0) {
    return Error("cannot rename into", name);
  }
  return SyncDirectory();
}

}  // namespace desktop
