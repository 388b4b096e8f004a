// vorn-device dump IMAGE: the whole device state as JSON.
//
// {"image": PATH,
//  "tables": {TABLE: [{COLUMN: VALUE, ...}, ...], ...},   every table
//  "registry": [{"key", "name", "type", "value"}, ...]}    decoded
// Blobs are lowercase hex strings; registry values are shown as
// `vorn-device reg get` prints them. Every name and value is written by
// nlohmann-json; only the line layout is set here.
#include <sqlite3.h>

#include <algorithm>
#include <iostream>
#include <string>

#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/image/utf8.h"
#include "device/pim/pim_json.h"
#include "device/registry/registry.h"

namespace cli {
namespace {

constexpr char kHelp[] =
    "usage: vorn-device dump IMAGE\n"
    "\n"
    "Prints the whole device state as one JSON object: every table of the\n"
    "image as an array of row objects (blobs as hex strings) under\n"
    "\"tables\", and the registry decoded under \"registry\".\n";

// One JSON value (a member name, a string, a number) as nlohmann-json
// writes it; the layout around the values is this command's own.
std::string Token(const device::PimJson::Json& value) {
  return device::PimJson::Write(value);
}

// Text as the image keeps it, as a JSON string: UTF-8 in which an unpaired
// surrogate of the handheld's UTF-16 has its three-byte form, written with
// U+FFFD in its place so that the output is valid UTF-8.
std::string Quote(std::string_view text) {
  return Token(device::Utf16ToValidUtf8(device::Utf8ToUtf16(text)));
}

std::string Hex(const unsigned char* bytes, int size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (int i = 0; i < size; ++i) {
    out.push_back(kDigits[bytes[i] >> 4]);
    out.push_back(kDigits[bytes[i] & 15]);
  }
  return out;
}

std::string ColumnJson(sqlite3_stmt* row, int column) {
  switch (sqlite3_column_type(row, column)) {
    case SQLITE_INTEGER:
      return Token(sqlite3_column_int64(row, column));
    case SQLITE_FLOAT:
      // Not a number and the infinities are written as null.
      return Token(sqlite3_column_double(row, column));
    case SQLITE_TEXT: {
      const auto* text =
          reinterpret_cast<const char*>(sqlite3_column_text(row, column));
      return Quote(std::string_view(text, sqlite3_column_bytes(row, column)));
    }
    case SQLITE_BLOB:
      return Token(Hex(
          static_cast<const unsigned char*>(sqlite3_column_blob(row, column)),
          sqlite3_column_bytes(row, column)));
    default:
      return Token(nullptr);
  }
}

std::string QuoteIdentifier(const std::string& name) {
  std::string out = "\"";
  for (char c : name) {
    out.push_back(c);
    if (c == '"') out.push_back('"');
  }
  return out + "\"";
}

void DumpTable(device::DeviceImage& image, const std::string& table) {
  sqlite3_stmt* row = nullptr;
  std::string sql = "SELECT * FROM " + QuoteIdentifier(table);
  if (sqlite3_prepare_v2(image.handle(), sql.c_str(), -1, &row, nullptr) !=
      SQLITE_OK) {
    sqlite3_finalize(row);
    throw device::ImageError(table + ": " + sqlite3_errmsg(image.handle()));
  }
  std::cout << "[";
  bool firstRow = true;
  int rc;
  while ((rc = sqlite3_step(row)) == SQLITE_ROW) {
    std::cout << (firstRow ? "\n      {" : ",\n      {");
    firstRow = false;
    for (int c = 0; c < sqlite3_column_count(row); ++c) {
      std::cout << (c == 0 ? "" : ", ") << Quote(sqlite3_column_name(row, c))
                << ": " << ColumnJson(row, c);
    }
    std::cout << "}";
  }
  sqlite3_finalize(row);
  if (rc != SQLITE_DONE) {
    throw device::ImageError(table + ": " + sqlite3_errmsg(image.handle()));
  }
  std::cout << (firstRow ? "]" : "\n    ]");
}

}  // namespace

int RunDump(const Args& args) {
  if (std::find(args.begin(), args.end(), "--help") != args.end()) {
    std::cout << kHelp;
    return 0;
  }
  if (args.size() != 1) {
    std::cerr << "vorn-device dump: expected exactly one IMAGE\n";
    return 2;
  }
  auto opened = device::Device::Open(args[0]);
  if (!opened.ok()) {
    std::cerr << "vorn-device dump: " << opened.status().message() << "\n";
    return 1;
  }
  device::DeviceImage& image = (*opened)->image();
  try {
    image.Exec("BEGIN");  // one consistent snapshot
    std::vector<std::string> tables;
    device::Statement names = image.Prepare(
        "SELECT name FROM sqlite_master WHERE type='table' "
        "AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\' ORDER BY name");
    while (names.Step()) tables.push_back(names.Text(0));
    std::vector<device::RegistryEntry> registry = (*opened)->registry().List();

    std::cout << "{\n  \"image\": " << Quote(args[0]) << ",\n  \"tables\": {";
    for (std::size_t i = 0; i < tables.size(); ++i) {
      std::cout << (i == 0 ? "\n    " : ",\n    ") << Quote(tables[i]) << ": ";
      DumpTable(image, tables[i]);
    }
    std::cout << "\n  },\n  \"registry\": [";
    for (std::size_t i = 0; i < registry.size(); ++i) {
      const device::RegistryEntry& entry = registry[i];
      std::cout << (i == 0 ? "\n    " : ",\n    ")
                << "{\"key\": " << Quote(entry.key)
                << ", \"name\": " << Quote(entry.name) << ", \"type\": "
                << Quote(device::Registry::TypeName(entry.value.type))
                << ", \"value\": "
                << Quote(device::Registry::Describe(entry.value)) << "}";
    }
    std::cout << (registry.empty() ? "]\n}\n" : "\n  ]\n}\n");
    image.Exec("COMMIT");
  } catch (const device::ImageError& e) {
    std::cout.flush();
    std::cerr << "vorn-device dump: " << e.what() << "\n";
    return 1;
  }
  return 0;
}

}  // namespace cli
