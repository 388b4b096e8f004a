// vorn-device dump IMAGE: the whole device state as JSON.
//
// {"image": PATH,
//  "tables": {TABLE: [{COLUMN: VALUE, ...}, ...], ...},   every table
//  "registry": [{"key", "name", "type", "value"}, ...]}    decoded
// Blobs are lowercase hex strings; registry values are shown as
// `vorn-device reg get` prints them.
#include <sqlite3.h>

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/registry/registry.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "Prints the whole device state as one JSON object: every table of the\n"
    "image as an array of row objects (blobs as hex strings) under\n"
    "\"tables\", and the registry decoded under \"registry\".";

std::string Quote(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    auto byte = static_cast<unsigned char>(c);
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (byte < 0x20 || byte == 0x7F) {
          char escaped[8];
          std::snprintf(escaped, sizeof(escaped), "\\u%04x", byte);
          out += escaped;
        } else {
          out.push_back(c);
        }
    }
  }
  return out + "\"";
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
      return std::to_string(sqlite3_column_int64(row, column));
    case SQLITE_FLOAT: {
      double value = sqlite3_column_double(row, column);
      if (!std::isfinite(value)) return "null";
      char text[32];
      std::snprintf(text, sizeof(text), "%.17g", value);
      return text;
    }
    case SQLITE_TEXT: {
      const auto* text =
          reinterpret_cast<const char*>(sqlite3_column_text(row, column));
      return Quote(std::string_view(text, sqlite3_column_bytes(row, column)));
    }
    case SQLITE_BLOB:
      return Quote(Hex(
          static_cast<const unsigned char*>(sqlite3_column_blob(row, column)),
          sqlite3_column_bytes(row, column)));
    default:
      return "null";
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

int Dump(const std::string& path) {
  auto opened = device::Device::Open(path);
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

    std::cout << "{\n  \"image\": " << Quote(path) << ",\n  \"tables\": {";
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

}  // namespace

void DefineDump(CLI::App& app, Work& work) {
  auto image = std::make_shared<std::string>();
  CLI::App* dump =
      app.add_subcommand("dump", "print the whole device state as JSON");
  dump->footer(kDetails);
  dump->add_option("IMAGE", *image, "the device image")->required();
  dump->callback([&work, image] { work = [image] { return Dump(*image); }; });
}

}  // namespace cli
