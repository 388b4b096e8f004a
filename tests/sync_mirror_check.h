// Shared by the `vorn sync` system tests: compares a mirror directory with
// the handheld it mirrors, pair by pair through the state's pairing of UID,
// object id and file.
#ifndef VORN_TESTS_SYNC_MIRROR_CHECK_H_
#define VORN_TESTS_SYNC_MIRROR_CHECK_H_

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "desktop/formats/json_text.h"
#include "desktop/formats/vcard.h"
#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_state.h"
#include "tests/support/program.h"

namespace sync_check {

inline std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::stringstream in(text);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

inline std::string ReadText(const std::string& path) {
  auto bytes = testing_support::ReadFileBytes(path);
  return std::string(bytes.begin(), bytes.end());
}

// The sync state of the mirror `dir` (no sync may run meanwhile); nullopt
// when it has none or it cannot be read.
inline std::optional<desktop::SyncState> LoadState(const std::string& dir) {
  auto opened = desktop::MirrorDirectory::Open(dir);
  if (!opened.ok()) return std::nullopt;
  auto state = desktop::SyncState::Load(**opened);
  if (!state.ok()) return std::nullopt;
  return *state;
}

// What the handheld can hold of a card: its text without UID, REV and
// object id.
inline std::string Canonical(desktop::Contact contact) {
  contact.uid.clear();
  contact.rev.clear();
  contact.oid.reset();
  return desktop::VCard::Write(contact);
}

// The handheld's contacts by object id, as canonical cards.
inline std::map<std::uint32_t, std::string> HandheldCards(
    const std::vector<std::string>& handheld) {
  using testing_support::RunProgram;
  std::vector<std::string> ls = handheld;
  ls.insert(ls.end(), {"ls", "contacts"});
  auto listed = RunProgram(ls);
  EXPECT_EQ(listed.exitCode, 0) << listed.err;
  std::vector<std::string> oids = Lines(listed.outText());
  std::map<std::uint32_t, std::string> cards;
  if (oids.empty()) return cards;
  std::vector<std::string> get = handheld;
  get.insert(get.end(), {"get", "contacts"});
  get.insert(get.end(), oids.begin(), oids.end());
  get.push_back("--vcard");
  auto got = RunProgram(get);
  EXPECT_EQ(got.exitCode, 0) << got.err;
  auto parsed = desktop::VCard::Parse(got.outText());
  EXPECT_TRUE(parsed.ok());
  if (!parsed.ok()) return cards;
  for (const desktop::Contact& contact : *parsed) {
    cards[contact.oid.value_or(0)] = Canonical(contact);
  }
  return cards;
}

// Every contact of the handheld has exactly one file in DIR/contacts/ with
// the same content and a UID of its own, and nothing else is there.
// Returns the number of contacts.
inline std::size_t ExpectMirrorMatches(const std::vector<std::string>& handheld,
                                       const std::string& dir) {
  std::map<std::uint32_t, std::string> cards = HandheldCards(handheld);
  std::optional<desktop::SyncState> state = LoadState(dir);
  EXPECT_TRUE(state.has_value());
  if (!state) return 0;
  const auto& items = state->collections["contacts"].items;
  std::set<std::string> files, uids;
  for (const auto& entry :
       std::filesystem::directory_iterator(dir + "/contacts")) {
    std::string name = entry.path().filename().string();
    if (name != "displayname") files.insert(name);
  }
  EXPECT_EQ(files.size(), cards.size()) << "files and contacts differ";
  EXPECT_EQ(items.size(), cards.size()) << "state and contacts differ";
  for (const auto& [uid, item] : items) {
    const std::string& file = item.file;
    std::uint32_t oid = item.oid;
    SCOPED_TRACE("file " + file + ", oid " + std::to_string(oid));
    EXPECT_TRUE(files.erase(file)) << "no such file";
    auto card = desktop::VCard::Parse(
        ReadText((std::filesystem::path(dir) / "contacts" / file).string()));
    EXPECT_TRUE(card.ok() && card->size() == 1);
    if (!card.ok() || card->size() != 1) continue;
    EXPECT_EQ(card->front().uid, item.uid);
    EXPECT_TRUE(uids.insert(card->front().uid).second) << "UID twice";
    auto on_handheld = cards.find(oid);
    EXPECT_NE(on_handheld, cards.end()) << "no such contact";
    if (on_handheld == cards.end()) continue;
    EXPECT_EQ(Canonical(card->front()), on_handheld->second);
  }
  EXPECT_TRUE(files.empty()) << "files nobody knows: " << files.size();
  return cards.size();
}

}  // namespace sync_check

#endif  // VORN_TESTS_SYNC_MIRROR_CHECK_H_
