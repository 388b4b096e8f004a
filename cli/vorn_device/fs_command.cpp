// vorn-device fs: moves files between the host and the handheld's file
// system inside an image, lists, removes and marks them. Host files are
// touched here only; the handheld side goes through the file system's own
// calls, in one transaction of the image that an error rolls back.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/fs/file_name.h"
#include "device/fs/file_system.h"
#include "platform/api.h"

namespace cli {
namespace {

constexpr int kUsage = 2;
constexpr int kFailed = 1;
constexpr DWORD kPiece = 64 * 1024;

constexpr const char* kHelp =
    "usage: vorn-device fs IMAGE COMMAND ...\n"
    "  put DEVICE_PATH HOST_FILE    copy a host file into the handheld\n"
    "                               (replacing a file of that name)\n"
    "  get DEVICE_PATH HOST_FILE    copy a handheld file to the host\n"
    "  ls [DIR]                     list a directory (default \\): attributes\n"
    "                               (d r h s a t), size, last write (UTC),\n"
    "                               object identifier, name (directories end\n"
    "                               in \\)\n"
    "  rm DEVICE_PATH               delete a file or an empty directory\n"
    "  attrib DEVICE_PATH +r|-r     set or clear the read-only attribute\n"
    "Device paths use \\ or / and start at the handheld's root.\n";

int Usage(const std::string& message) {
  std::cerr << "vorn-device fs: " << message
            << " (vorn-device fs --help for usage)\n";
  return kUsage;
}

std::string ErrorText(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
      return "no such file";
    case ERROR_PATH_NOT_FOUND:
      return "no such directory on the way";
    case ERROR_ACCESS_DENIED:
      return "access denied (read-only, or a directory)";
    case ERROR_SHARING_VIOLATION:
      return "the file is in use";
    case ERROR_INVALID_NAME:
      return "invalid device path";
    case ERROR_FILENAME_EXCED_RANGE:
      return "device path too long";
    case ERROR_DIR_NOT_EMPTY:
      return "directory not empty";
    case ERROR_DIRECTORY:
      return "not a directory";
    case ERROR_DISK_FULL:
      return "file too large";
    default:
      return "error " + std::to_string(code);
  }
}

// Thrown inside a command to end it with a one-line message.
struct CommandError {
  std::string message;
};

[[noreturn]] void Fail(const std::string& what, DWORD code) {
  throw CommandError{what + ": " + ErrorText(code)};
}

std::optional<std::u16string> DevicePath(const std::string& text) {
  std::u16string path = device::FileNameFromUtf8(text);
  if (device::FileNameToUtf8(path) != text) return std::nullopt;
  return path;
}

std::string Narrow(std::u16string_view text) {
  return device::FileNameToUtf8(text).value_or("?");
}

std::string FormatTime(const FILETIME& time) {
  SYSTEMTIME st{};
  if (!::FileTimeToSystemTime(&time, &st)) return "(unknown time)     ";
  char text[64];
  std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u",
                unsigned{st.wYear}, unsigned{st.wMonth}, unsigned{st.wDay},
                unsigned{st.wHour}, unsigned{st.wMinute}, unsigned{st.wSecond});
  return text;
}

std::string FormatEntry(const WIN32_FIND_DATAW& entry) {
  const DWORD a = entry.dwFileAttributes;
  std::string flags;
  flags += (a & FILE_ATTRIBUTE_DIRECTORY) ? 'd' : '-';
  flags += (a & FILE_ATTRIBUTE_READONLY) ? 'r' : '-';
  flags += (a & FILE_ATTRIBUTE_HIDDEN) ? 'h' : '-';
  flags += (a & FILE_ATTRIBUTE_SYSTEM) ? 's' : '-';
  flags += (a & FILE_ATTRIBUTE_ARCHIVE) ? 'a' : '-';
  flags += (a & FILE_ATTRIBUTE_TEMPORARY) ? 't' : '-';
  const std::uint64_t size =
      (std::uint64_t{entry.nFileSizeHigh} << 32) | entry.nFileSizeLow;
  char line[160];
  std::snprintf(line, sizeof line, "%s %10llu %s 0x%08X ", flags.c_str(),
                static_cast<unsigned long long>(size),
                FormatTime(entry.ftLastWriteTime).c_str(),
                static_cast<unsigned>(entry.dwOID));
  std::string name = Narrow(entry.cFileName);
  if (a & FILE_ATTRIBUTE_DIRECTORY) name += '\\';
  return line + name;
}

void Put(device::Device& handheld, const std::u16string& path,
         const std::string& hostFile) {
  std::ifstream in(hostFile, std::ios::binary);
  if (!in) throw CommandError{"cannot read host file " + hostFile};
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                          std::istreambuf_iterator<char>());
  if (in.bad()) throw CommandError{"cannot read host file " + hostFile};
  if (bytes.size() > 0xFFFFFFFEULL) throw CommandError{"host file too large"};

  device::FileSystem& files = handheld.files();
  HANDLE file = files.CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                  CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, 0);
  if (file == INVALID_HANDLE_VALUE) {
    Fail(Narrow(path), handheld.context().lastError);
  }
  std::size_t done = 0;
  while (done < bytes.size()) {
    const DWORD piece =
        static_cast<DWORD>(std::min<std::size_t>(kPiece, bytes.size() - done));
    DWORD written = 0;
    if (!files.WriteFile(file, bytes.data() + done, piece, &written, nullptr)) {
      const DWORD error = handheld.context().lastError;
      handheld.handles().Close(file);
      Fail(Narrow(path), error);
    }
    done += written;
  }
  handheld.handles().Close(file);
}

void Get(device::Device& handheld, const std::u16string& path,
         const std::string& hostFile) {
  device::FileSystem& files = handheld.files();
  HANDLE file = files.CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                  nullptr, OPEN_EXISTING, 0, 0);
  if (file == INVALID_HANDLE_VALUE) {
    Fail(Narrow(path), handheld.context().lastError);
  }
  std::vector<char> bytes;
  std::vector<char> piece(kPiece);
  for (;;) {
    DWORD read = 0;
    if (!files.ReadFile(file, piece.data(), kPiece, &read, nullptr)) {
      const DWORD error = handheld.context().lastError;
      handheld.handles().Close(file);
      Fail(Narrow(path), error);
    }
    if (read == 0) break;
    bytes.insert(bytes.end(), piece.begin(), piece.begin() + read);
  }
  handheld.handles().Close(file);
  std::ofstream out(hostFile, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw CommandError{"cannot write host file " + hostFile};
}

void List(device::Device& handheld, const std::u16string& directory) {
  device::FileSystem& files = handheld.files();
  const DWORD attributes = files.GetFileAttributesW(directory.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    Fail(Narrow(directory), handheld.context().lastError);
  }
  std::u16string pattern = directory;
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) {
    if (!pattern.ends_with(u'\\') && !pattern.ends_with(u'/')) pattern += u'\\';
    pattern += u"*";
  }
  WIN32_FIND_DATAW entry{};
  HANDLE search = files.FindFirstFileW(pattern.c_str(), &entry);
  if (search == INVALID_HANDLE_VALUE) {
    if (handheld.context().lastError == ERROR_FILE_NOT_FOUND) return;  // empty
    Fail(Narrow(directory), handheld.context().lastError);
  }
  do {
    std::cout << FormatEntry(entry) << '\n';
  } while (files.FindNextFileW(search, &entry));
  files.FindClose(search);
}

void Remove(device::Device& handheld, const std::u16string& path) {
  device::FileSystem& files = handheld.files();
  const DWORD attributes = files.GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    Fail(Narrow(path), handheld.context().lastError);
  }
  const BOOL ok = (attributes & FILE_ATTRIBUTE_DIRECTORY)
                      ? files.RemoveDirectoryW(path.c_str())
                      : files.DeleteFileW(path.c_str());
  if (!ok) Fail(Narrow(path), handheld.context().lastError);
}

void Attrib(device::Device& handheld, const std::u16string& path,
            bool readOnly) {
  device::FileSystem& files = handheld.files();
  DWORD attributes = files.GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    Fail(Narrow(path), handheld.context().lastError);
  }
  attributes &= ~(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_NORMAL);
  if (readOnly) {
    attributes |= FILE_ATTRIBUTE_READONLY;
  } else {
    attributes &= ~FILE_ATTRIBUTE_READONLY;
  }
  if (attributes == 0) attributes = FILE_ATTRIBUTE_NORMAL;
  if (!files.SetFileAttributesW(path.c_str(), attributes)) {
    Fail(Narrow(path), handheld.context().lastError);
  }
}

}  // namespace

int RunFs(const Args& args) {
  if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
    std::cout << kHelp;
    return 0;
  }
  if (args.size() < 2) return Usage("expected IMAGE and a command");
  const std::string& image = args[0];
  const std::string& command = args[1];
  const std::size_t operands = args.size() - 2;

  std::size_t expected = 0;
  if (command == "put" || command == "get" || command == "attrib") {
    expected = 2;
  } else if (command == "rm") {
    expected = 1;
  } else if (command == "ls") {
    expected = operands == 0 ? 0 : 1;
  } else {
    return Usage("unknown command '" + command + "'");
  }
  if (operands != expected) {
    return Usage("wrong number of arguments for '" + command + "'");
  }
  std::u16string path = u"\\";
  if (operands > 0) {
    auto parsed = DevicePath(args[2]);
    if (!parsed) return Usage("device path is not valid UTF-8");
    path = *parsed;
  }
  bool readOnly = false;
  if (command == "attrib") {
    if (args[3] != "+r" && args[3] != "-r") {
      return Usage("attrib takes +r or -r");
    }
    readOnly = args[3] == "+r";
  }

  auto opened = device::Device::Open(image);
  if (!opened.ok()) {
    std::cerr << "vorn-device fs: " << opened.status().message() << '\n';
    return kFailed;
  }
  device::Device& handheld = **opened;
  try {
    handheld.image().Begin();
    if (command == "put") {
      Put(handheld, path, args[3]);
    } else if (command == "get") {
      Get(handheld, path, args[3]);
    } else if (command == "ls") {
      List(handheld, path);
    } else if (command == "rm") {
      Remove(handheld, path);
    } else {
      Attrib(handheld, path, readOnly);
    }
    handheld.image().Commit();
  } catch (const CommandError& error) {
    handheld.image().Rollback();
    std::cerr << "vorn-device fs: " << error.message << '\n';
    return kFailed;
  } catch (const device::ImageError& error) {
    handheld.image().Rollback();
    std::cerr << "vorn-device fs: " << error.what() << '\n';
    return kFailed;
  }
  return 0;
}

}  // namespace cli
