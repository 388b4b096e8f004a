#include "desktop/sync/mirror_directory.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace desktop {
namespace {

constexpr char kLockName[] = ".vorn-sync.lock";
constexpr char kCardSuffix[] = ".vcf";
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
  close(lock_fd_);  // also drops the lock
  close(dir_fd_);
}

std::string MirrorDirectory::CardName(std::uint32_t oid) {
  return std::to_string(oid) + kCardSuffix;
}

std::optional<std::uint32_t> MirrorDirectory::OidOfCardName(
    std::string_view name) {
  constexpr std::string_view suffix = kCardSuffix;
  if (!name.ends_with(suffix)) return std::nullopt;
  std::string_view digits = name.substr(0, name.size() - suffix.size());
  if (digits.empty() || digits.size() > 10) return std::nullopt;
  if (digits.size() > 1 && digits[0] == '0') return std::nullopt;
  std::uint64_t value = 0;
  for (char c : digits) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + static_cast<std::uint64_t>(c - '0');
  }
  if (value > 0xFFFFFFFFu) return std::nullopt;
  return static_cast<std::uint32_t>(value);
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

Status MirrorDirectory::StageCard(std::uint32_t oid, std::string_view text) {
  VORN_RETURN_IF_ERROR(WriteWhole(TempName(CardName(oid)), text, false));
  staged_.push_back(oid);
  return Status::Ok();
}

Status MirrorDirectory::CommitStaged() {
  if (staged_.empty()) return Status::Ok();
  // One flush of the file system makes the whole batch durable, which is
  // far cheaper than an fsync per card and gives the same guarantee: no
  // card is renamed into place before its content is on disk.
  if (syncfs(dir_fd_) != 0) return Error("cannot flush", ".");
  std::size_t done = 0;
  for (; done < staged_.size(); ++done) {
    std::string name = CardName(staged_[done]);
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

Result<bool> MirrorDirectory::RemoveCard(std::uint32_t oid) {
  std::string name = CardName(oid);
  // A staged copy of the card must not be renamed over the removal later.
  std::erase(staged_, oid);
  if (unlinkat(dir_fd_, TempName(name).c_str(), 0) != 0 && errno != ENOENT) {
    return Error("cannot remove", TempName(name));
  }
  if (unlinkat(dir_fd_, name.c_str(), 0) == 0) return true;
  if (errno == ENOENT) return false;
  return Error("cannot remove", name);
}

Result<std::optional<std::string>> MirrorDirectory::ReadCard(
    std::uint32_t oid) const {
  return ReadFile(CardName(oid));
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

Result<std::vector<std::uint32_t>> MirrorDirectory::ListCards() const {
  std::vector<std::uint32_t> oids;
  Status listed = ForEachEntry(dir_fd_, path_, [&](std::string_view name) {
    if (auto oid = OidOfCardName(name)) oids.push_back(*oid);
    return Status::Ok();
  });
  if (!listed.ok()) return listed;
  return oids;
}

Status MirrorDirectory::RemoveStrayTemporaries() {
  std::vector<std::string> stray;
  VORN_RETURN_IF_ERROR(ForEachEntry(dir_fd_, path_, [&](std::string_view name) {
    if (name.starts_with(".") && name.ends_with(kTempSuffix) &&
        name.size() > 1 + std::strlen(kTempSuffix)) {
      std::string_view inner =
          name.substr(1, name.size() - 1 - std::strlen(kTempSuffix));
      if (OidOfCardName(inner)) stray.emplace_back(name);
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
