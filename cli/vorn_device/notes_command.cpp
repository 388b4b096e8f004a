// vorn-device notes IMAGE add TITLE TEXT
// vorn-device notes IMAGE ls [--json]
//
// Writes and lists the handheld's ink notes as its user sees them: each
// note is a file "\My Documents\TITLE.pwi" in the note file container,
// written through the handheld's file system so that it gets a real object
// identifier and write time.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/common/command_line_parser.h"
#include "cli/vorn_device/command_support.h"
#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/fs/file_name.h"
#include "device/fs/file_system.h"
#include "device/image/utf8.h"
#include "device/pim/pim_json.h"
#include "device/richink/pwi_reader.h"
#include "device/richink/pwi_writer.h"
#include "platform/api.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "add writes the note \"\\My Documents\\TITLE.pwi\" holding TEXT (lines\n"
    "become paragraphs) and prints its object identifier; a note of that\n"
    "title must not exist yet. TEXT may be @FILE (UTF-8).\n"
    "\n"
    "ls prints one line per note: object identifier, title and file size,\n"
    "separated by tabs; --json prints an array of objects with \"Oid\",\n"
    "\"Title\", \"Size\" and \"Text\" (paragraphs separated by \\n).";

constexpr char16_t kDirectory[] = u"\\My Documents\\";
constexpr char16_t kPattern[] = u"\\My Documents\\*.pwi";
constexpr DWORD kPiece = 64 * 1024;

struct Request {
  std::string image;
  std::string action;
  std::u16string title;
  std::u16string text;
  bool json = false;
};

std::string Hex(DWORD value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(value));
  return text;
}

// Why `title` cannot name a note file, or nullopt when it can.
std::optional<std::string> TitleProblem(std::u16string_view title) {
  if (title.empty()) return "the title is empty";
  for (char16_t c : title) {
    if (c < 0x20 || std::u16string_view(u"\\/:*?\"<>|").find(c) !=
                        std::u16string_view::npos) {
      return "the title holds a character a file name cannot hold";
    }
  }
  if (title.size() > MAX_PATH - 20) return "the title is too long";
  return std::nullopt;
}

device::Status FileError(const std::string& what, DWORD code) {
  return device::Status::Error(what + ": error " + std::to_string(code));
}

device::Status Add(device::Device& handheld, const Request& request,
                   std::string* output) {
  const std::u16string path =
      std::u16string(kDirectory) + request.title + u".pwi";
  const std::vector<std::uint8_t> bytes =
      device::WritePwi(device::SplitParagraphs(request.text));
  device::FileSystem& files = handheld.files();
  HANDLE file = files.CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                  CREATE_NEW, FILE_ATTRIBUTE_NORMAL, 0);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = handheld.context().lastError;
    if (error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS) {
      return device::Status::Error("a note titled '" +
                                   device::Utf16ToUtf8(request.title) +
                                   "' exists already");
    }
    return FileError("cannot create the note", error);
  }
  std::size_t done = 0;
  while (done < bytes.size()) {
    const DWORD piece =
        static_cast<DWORD>(std::min<std::size_t>(kPiece, bytes.size() - done));
    DWORD written = 0;
    if (!files.WriteFile(file, bytes.data() + done, piece, &written, nullptr) ||
        written == 0) {
      const DWORD error = handheld.context().lastError;
      handheld.handles().Close(file);
      return FileError("cannot write the note", error);
    }
    done += written;
  }
  handheld.handles().Close(file);
  WIN32_FIND_DATAW found{};
  HANDLE search = files.FindFirstFileW(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    return FileError("cannot find the new note", handheld.context().lastError);
  }
  files.FindClose(search);
  *output = Hex(found.dwOID) + "\n";
  return device::Status::Ok();
}

// The bytes of the file `path`; nullopt when it cannot be read.
std::optional<std::vector<std::uint8_t>> ReadWhole(device::Device& handheld,
                                                   const std::u16string& path) {
  device::FileSystem& files = handheld.files();
  HANDLE file = files.CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                  nullptr, OPEN_EXISTING, 0, 0);
  if (file == INVALID_HANDLE_VALUE) return std::nullopt;
  std::vector<std::uint8_t> bytes;
  std::vector<std::uint8_t> piece(kPiece);
  for (;;) {
    DWORD read = 0;
    if (!files.ReadFile(file, piece.data(), kPiece, &read, nullptr)) {
      handheld.handles().Close(file);
      return std::nullopt;
    }
    if (read == 0 || bytes.size() >= device::kPwiMaxFileSize) break;
    bytes.insert(bytes.end(), piece.begin(), piece.begin() + read);
  }
  handheld.handles().Close(file);
  return bytes;
}

std::string Describe(device::Device& handheld, const WIN32_FIND_DATAW& found,
                     bool json) {
  std::u16string name = found.cFileName;
  std::u16string title = name.substr(0, name.size() - 4);  // without ".pwi"
  const std::uint64_t size =
      (std::uint64_t{found.nFileSizeHigh} << 32) | found.nFileSizeLow;
  if (!json) {
    return Hex(found.dwOID) + "\t" + ListingColumn(title) + "\t" +
           std::to_string(size) + "\n";
  }
  std::u16string text;
  auto bytes = ReadWhole(handheld, std::u16string(kDirectory) + name);
  if (bytes) {
    if (auto paragraphs = device::ReadPwiParagraphs(*bytes)) {
      for (std::size_t i = 0; i < paragraphs->size(); ++i) {
        if (i != 0) text += u'\n';
        text += (*paragraphs)[i];
      }
    }
  }
  device::PimJson::Json object = device::PimJson::Json::object();
  object["Oid"] = found.dwOID;
  object["Title"] = device::Utf16ToValidUtf8(title);
  object["Size"] = size;
  object["Text"] = device::Utf16ToValidUtf8(text);
  return device::PimJson::Write(object);
}

device::Status List(device::Device& handheld, const Request& request,
                    std::string* output) {
  device::FileSystem& files = handheld.files();
  std::vector<std::string> lines;
  WIN32_FIND_DATAW found{};
  HANDLE search = files.FindFirstFileW(kPattern, &found);
  if (search != INVALID_HANDLE_VALUE) {
    do {
      if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
        lines.push_back(Describe(handheld, found, request.json));
      }
    } while (files.FindNextFileW(search, &found));
    files.FindClose(search);
  } else if (handheld.context().lastError != ERROR_FILE_NOT_FOUND &&
             handheld.context().lastError != ERROR_NO_MORE_FILES) {
    return FileError("cannot list the notes", handheld.context().lastError);
  }
  if (!request.json) {
    for (const std::string& line : lines) *output += line;
    return device::Status::Ok();
  }
  *output = "[";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    *output += (i == 0 ? "\n" : ",\n") + lines[i];
  }
  *output += lines.empty() ? "]\n" : "\n]\n";
  return device::Status::Ok();
}

int Run(const Request& request) {
  std::string output;
  const bool add = request.action == "add";
  int status = RunInTransaction(
      "notes", request.image,
      [&](device::Device& handheld) {
        return add ? Add(handheld, request, &output)
                   : List(handheld, request, &output);
      },
      kExitFailure, add);
  if (status == 0) std::cout << output;
  return status;
}

// The UTF-8 text of an argument: inline, or the contents of @FILE.
std::u16string ArgumentText(const std::string& argument) {
  if (!argument.starts_with("@")) return device::Utf8ToUtf16(argument);
  std::FILE* file = std::fopen(argument.c_str() + 1, "rb");
  if (file == nullptr) {
    cli_common::BadArgument("cannot read '" + argument.substr(1) + "'");
  }
  std::string bytes;
  char piece[4096];
  std::size_t read = 0;
  while ((read = std::fread(piece, 1, sizeof piece, file)) > 0) {
    bytes.append(piece, read);
  }
  std::fclose(file);
  return device::Utf8ToUtf16(bytes);
}

}  // namespace

void DefineNotes(CLI::App& app, Work& work) {
  auto request = std::make_shared<Request>();
  CLI::App* notes =
      app.add_subcommand("notes", "write and list ink notes as the user does");
  notes->footer(kDetails);
  notes->add_option("IMAGE", request->image, "the device image")->required();
  notes->require_subcommand(1);

  CLI::App* add = notes->add_subcommand("add", "add a note; prints its OID");
  add->add_option_function<std::string>(
         "TITLE",
         [request](const std::string& text) {
           std::u16string title = device::FileNameFromUtf8(text);
           if (device::FileNameToUtf8(title) != text) {
             cli_common::BadArgument("the title is not valid UTF-8");
           }
           if (auto problem = TitleProblem(title)) {
             cli_common::BadArgument(*problem);
           }
           request->title = std::move(title);
         },
         "the note's title (its file name)")
      ->required();
  add->add_option_function<std::string>(
         "TEXT",
         [request](const std::string& text) {
           request->text = ArgumentText(text);
         },
         "the note's text, or @FILE")
      ->required();
  add->callback([request] { request->action = "add"; });

  CLI::App* ls = notes->add_subcommand("ls", "list the notes");
  ls->add_flag("--json", request->json, "print a JSON array with the text");
  ls->callback([request] { request->action = "ls"; });

  notes->callback(
      [&work, request] { work = [request] { return Run(*request); }; });
}

}  // namespace cli
