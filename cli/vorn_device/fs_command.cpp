// vorn-device fs: moves files between the host and the handheld's file
// system inside an image, lists, removes and marks them. Host files are
// touched here only; the handheld side goes through the file system's own
// calls, in one transaction of the image that an error rolls back.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/fs/file_name.h"
#include "device/fs/file_system.h"
#include "platform/api.h"

namespace cli {
namespace {

constexpr int kFailed = 1;
constexpr DWORD kPiece = 64 * 1024;

constexpr const char* kDetails =
    "Device paths use \\ or / and start at the handheld's root. ls shows\n"
    "attributes (d r h s a t), size, last write (UTC), object identifier\n"
    "and name (directories end in \\).";

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

// `text` with control characters written as \xNN, so that a path with a
// line break still makes a one-line message.
std::string Printable(const std::string& text) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string shown;
  for (char c : text) {
    auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      shown += "\\x";
      shown.push_back(kDigits[byte >> 4]);
      shown.push_back(kDigits[byte & 15]);
    } else {
      shown.push_back(c);
    }
  }
  return shown;
}

[[noreturn]] void Fail(const std::string& what, DWORD code) {
  throw CommandError{Printable(what) + ": " + ErrorText(code)};
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

struct FsRequest {
  std::string image;
  std::string command;
  std::u16string path = u"\\";
  std::string hostFile;
  bool readOnly = false;
};

int Run(const FsRequest& request) {
  const std::string& image = request.image;
  const std::string& command = request.command;
  const std::u16string& path = request.path;
  const bool readOnly = request.readOnly;
  auto opened = device::Device::Open(image);
  if (!opened.ok()) {
    std::cerr << "vorn-device fs: " << opened.status().message() << '\n';
    return kFailed;
  }
  device::Device& handheld = **opened;
  try {
    handheld.image().Begin();
    if (command == "put") {
      Put(handheld, path, request.hostFile);
    } else if (command == "get") {
      Get(handheld, path, request.hostFile);
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

// The positional `name`: a path on the handheld.
CLI::Option* AddDevicePath(CLI::App& command, const std::string& name,
                           FsRequest& request) {
  return command.add_option_function<std::string>(
      name,
      [&request](const std::string& text) {
        std::optional<std::u16string> path = DevicePath(text);
        if (!path) cli_common::BadArgument("device path is not valid UTF-8");
        request.path = *path;
      },
      "a path on the handheld");
}

}  // namespace

void DefineFs(CLI::App& app, Work& work) {
  auto request = std::make_shared<FsRequest>();
  CLI::App* fs = app.add_subcommand(
      "fs", "move, list, remove and mark files on the handheld");
  fs->footer(kDetails);
  fs->add_option("IMAGE", request->image, "the device image")->required();
  fs->require_subcommand(1);

  CLI::App* put = fs->add_subcommand(
      "put",
      "copy a host file into the handheld (replacing a file of that "
      "name)");
  AddDevicePath(*put, "DEVICE_PATH", *request)->required();
  put->add_option("HOST_FILE", request->hostFile, "the file to copy")
      ->required();
  CLI::App* get = fs->add_subcommand("get", "copy a handheld file to the host");
  AddDevicePath(*get, "DEVICE_PATH", *request)->required();
  get->add_option("HOST_FILE", request->hostFile, "where it goes")->required();
  CLI::App* ls = fs->add_subcommand("ls", "list a directory (default \\)");
  AddDevicePath(*ls, "DIR", *request);
  CLI::App* rm =
      fs->add_subcommand("rm", "delete a file or an empty directory");
  AddDevicePath(*rm, "DEVICE_PATH", *request)->required();

  // `attrib PATH -r` reads as an option: -r is one, +r a positional.
  CLI::App* attrib =
      fs->add_subcommand("attrib", "set (+r) or clear (-r) read-only");
  AddDevicePath(*attrib, "DEVICE_PATH", *request)->required();
  auto mode = std::make_shared<std::string>();
  auto clear = std::make_shared<bool>(false);
  attrib->add_option("MODE", *mode, "+r sets the read-only attribute")
      ->type_name("+r");
  attrib->add_flag("-r", *clear, "clears the read-only attribute");

  for (CLI::App* command : {put, get, ls, rm}) {
    command->callback(
        [request, name = command->get_name()] { request->command = name; });
  }
  attrib->callback([request, mode, clear] {
    if (*clear == !mode->empty() || (!mode->empty() && *mode != "+r")) {
      cli_common::BadArgument("attrib takes +r or -r");
    }
    request->command = "attrib";
    request->readOnly = !*clear;
  });
  fs->callback(
      [&work, request] { work = [request] { return Run(*request); }; });
}

}  // namespace cli
