// vorn-device dump IMAGE: the whole device state as JSON.
//
// {"image": PATH,
//  "tables": {TABLE: [{COLUMN: VALUE, ...}, ...], ...},   every table
//  "registry": [{"key", "name", "type", "value"}, ...]}    decoded
// Blobs are lowercase hex strings; registry values are shown as
// `vorn-device reg get` prints them. Every name and value is written by
// nlohmann-json; only the line layout is set here.
#include <sqlite3.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

#include "cli/vorn_device/commands.h"
#include "device/device.h"
#include "device/image/utf8.h"
#include "device/pim/pim_json.h"
#include "device/registry/registry.h"

namespace cli {
namespace {

constexpr char kDetails[] =
    "Prints the whole device state as one JSON object: every table of the\n"
    "image as an array of row objects (blobs as hex strings) under\n"
    "\"tables\", and the registry decoded under \"registry\".";

using Json = device::PimJson::Json;

// Text as the image keeps it (UTF-8 in which an unpaired surrogate of the
// handheld's UTF-16 has its three-byte form) as a JSON string, with U+FFFD
// in place of such a surrogate so that the output is valid UTF-8.
Json Text(std::string_view text) {
  return device::Utf16ToValidUtf8(device::Utf8ToUtf16(text));
}

// The dump's layout of `value`, written by nlohmann-json piece by piece:
// an object or array holding objects or arrays has one member per line,
// indented two spaces a level; one holding plain values stays on one line,
// {"name": "x", "size": 2}, so that a table row is one line.
void Layout(const Json& value, std::size_t depth, std::string& out) {
  if (!value.is_structured() || value.empty()) {
    out += device::PimJson::Write(value);
    return;
  }
  bool lines = std::any_of(value.begin(), value.end(), [](const Json& item) {
    return item.is_structured();
  });
  std::string indent = "\n" + std::string(2 * (depth + 1), ' ');
  out += value.is_object() ? '{' : '[';
  for (auto item = value.begin(); item != value.end(); ++item) {
    if (item != value.begin()) out += lines ? "," : ", ";
    if (lines) out += indent;
    if (value.is_object()) {
      out += device::PimJson::Write(item.key()) + ": ";
    }
    Layout(*item, depth + 1, out);
  }
  if (lines) out += "\n" + std::string(2 * depth, ' ');
  out += value.is_object() ? '}' : ']';
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

Json Column(sqlite3_stmt* row, int column) {
  switch (sqlite3_column_type(row, column)) {
    case SQLITE_INTEGER:
      return sqlite3_column_int64(row, column);
    case SQLITE_FLOAT:
      // Not a number and the infinities are written as null.
      return sqlite3_column_double(row, column);
    case SQLITE_TEXT: {
      const auto* text =
          reinterpret_cast<const char*>(sqlite3_column_text(row, column));
      return Text(std::string_view(text, sqlite3_column_bytes(row, column)));
    }
    case SQLITE_BLOB:
      return Hex(
          static_cast<const unsigned char*>(sqlite3_column_blob(row, column)),
          sqlite3_column_bytes(row, column));
    default:
      return nullptr;
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

// The rows of `table`, each an object of its columns.
Json DumpTable(device::DeviceImage& image, const std::string& table) {
  sqlite3_stmt* row = nullptr;
  std::string sql = "SELECT * FROM " + QuoteIdentifier(table);
  if (sqlite3_prepare_v2(image.handle(), sql.c_str(), -1, &row, nullptr) !=
      SQLITE_OK) {
    sqlite3_finalize(row);
    throw device::ImageError(table + ": " + sqlite3_errmsg(image.handle()));
  }
  Json rows = Json::array();
  int rc;
  while ((rc = sqlite3_step(row)) == SQLITE_ROW) {
    Json columns = Json::object();
    for (int c = 0; c < sqlite3_column_count(row); ++c) {
      columns[Text(sqlite3_column_name(row, c)).get<std::string>()] =
          Column(row, c);
    }
    rows.push_back(std::move(columns));
  }
  sqlite3_finalize(row);
  if (rc != SQLITE_DONE) {
    throw device::ImageError(table + ": " + sqlite3_errmsg(image.handle()));
  }
  return rows;
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

    Json dump = Json::object();
    dump["image"] = Text(path);
    dump["tables"] = Json::object();
    for (const std::string& table : tables) {
      dump["tables"][Text(table).get<std::string>()] = DumpTable(image, table);
    }
    dump["registry"] = Json::array();
    for (const device::RegistryEntry& entry : registry) {
      Json item = Json::object();
      item["key"] = Text(entry.key);
      item["name"] = Text(entry.name);
      item["type"] = device::Registry::TypeName(entry.value.type);
      item["value"] = Text(device::Registry::Describe(entry.value));
      dump["registry"].push_back(std::move(item));
    }
    std::string out;
    Layout(dump, 0, out);
    std::cout << out << "\n";
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
