// Shared by the SyncEngine tests: a scratch mirror directory, a scripted
// handheld, and helpers that build its replies and read the mirror back.
#ifndef VORN_DESKTOP_SYNC_SYNC_ENGINE_FIXTURE_TEST_H_
#define VORN_DESKTOP_SYNC_SYNC_ENGINE_FIXTURE_TEST_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include "desktop/base/utf16.h"
#include "desktop/formats/contact.h"
#include "desktop/formats/record_uid.h"
#include "desktop/formats/vcard.h"
#include "desktop/sync/contact_sync_adapter.h"
#include "desktop/sync/content_hash.h"
#include "desktop/sync/sync_engine.h"
#include "desktop/sync/uid_file_stem.h"
#include "desktop/transport/scripted_stream.h"
#include "tests/support/packet_builder.h"

namespace desktop {

using Bytes = std::vector<std::uint8_t>;
using testing_support::Cat;
using testing_support::Counted;
using testing_support::LE32;

inline constexpr char kPartner[] = "desk-1";
inline const Bytes kOk = {1, 0};
inline const Bytes kNo = {0, 1};

// A contact as the handheld sends it, with only a first name.
inline Bytes Record(std::uint32_t oid, std::u16string_view first) {
  return Cat({{1, 0}, LE32(oid), {1}, LE32(31), Counted(first)});
}

inline Bytes Header(std::uint32_t count, bool complete = true,
                    bool failed = false) {
  return Cat(
      {{static_cast<std::uint8_t>(complete), static_cast<std::uint8_t>(failed)},
       LE32(count),
       {0}});
}

struct Entry {
  std::uint32_t oid;
  std::uint8_t kind;
};

inline Bytes Changes(std::initializer_list<Entry> entries) {
  Bytes out = Header(static_cast<std::uint32_t>(entries.size()));
  for (const Entry& e : entries) {
    Bytes oid = LE32(e.oid);
    out.insert(out.end(), oid.begin(), oid.end());
    out.push_back(e.kind);
  }
  return out;
}

inline Bytes Oids(std::initializer_list<std::uint32_t> oids) {
  Bytes out = Header(static_cast<std::uint32_t>(oids.size()));
  for (std::uint32_t oid : oids) {
    Bytes b = LE32(oid);
    out.insert(out.end(), b.begin(), b.end());
  }
  return out;
}

// A WriteStatus that reports success for `oid`.
inline Bytes Written(std::uint32_t oid, std::uint32_t echoed) {
  return Cat({{1, 0}, LE32(oid), LE32(echoed)});
}

inline const Bytes kMachine = Cat({LE32(0x3C), Counted(u"M-1")});

inline std::string UidOf(std::uint32_t oid) {
  return RecordUid::For("M-1", protocol::DataType::kContacts, oid);
}

inline std::string FileOf(std::uint32_t oid) {
  return UidFileStem::Of(UidOf(oid)) + ".vcf";
}

// A card with only a first name.
inline std::string CardText(std::u16string_view first,
                            const std::string& uid = "") {
  Contact contact;
  contact.SetText(31, std::u16string(first));
  contact.uid = uid;
  return VCard::Write(contact);
}

class SyncEngineFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vorn-sync-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    path_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(path_); }

  Result<SyncSummary> RunEngine(SyncOptions options = {}) {
    if (options.partner.empty()) options.partner = kPartner;
    auto dir = MirrorDirectory::Open(path_);
    EXPECT_TRUE(dir.ok()) << dir.status().message();
    HandheldClient client(stream_);
    SyncEngine engine(client, **dir, std::move(options));
    return engine.Run();
  }

  // A mirror that an earlier run left complete: contacts named "Old".
  void Seed(std::initializer_list<std::uint32_t> oids) {
    auto dir = MirrorDirectory::Open(path_);
    ASSERT_TRUE(dir.ok());
    auto files = (*dir)->OpenSubdirectory("contacts");
    ASSERT_TRUE(files.ok());
    SyncState state;
    state.partner = kPartner;
    state.machine_id = "M-1";
    state.last_run_epoch = 1;
    CollectionState& collection = state.collections["contacts"];
    for (std::uint32_t oid : oids) {
      std::string text = CardText(u"Old", UidOf(oid));
      ASSERT_TRUE((*files)->WriteFileDurably(FileOf(oid), text).ok());
      auto entry = (*files)->Stat(FileOf(oid));
      ASSERT_TRUE(entry.ok() && entry->has_value());
      collection.items[UidOf(oid)] = {UidOf(oid),
                                      oid,
                                      FileOf(oid),
                                      ContentHash::Of(text),
                                      (*entry)->size,
                                      (*entry)->mtime,
                                      ContentHash::Of(CardText(u"Old"))};
    }
    ASSERT_TRUE((*files)->WriteFileDurably("displayname", "Contacts").ok());
    ASSERT_TRUE(state.Save(**dir).ok());
  }

  std::string FilePath(const std::string& name) {
    return path_ + "/contacts/" + name;
  }
  void WriteFile(const std::string& name, const std::string& text) {
    FILE* f = std::fopen(FilePath(name).c_str(), "wb");
    ASSERT_NE(f, nullptr);
    std::fwrite(text.data(), 1, text.size(), f);
    std::fclose(f);
  }
  std::string ReadPath(const std::string& path) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return "<none>";
    std::string text;
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0) {
      text.append(buffer, n);
    }
    std::fclose(f);
    return text;
  }

  // The first name in the card of `oid`'s file, "<none>" without one.
  std::string FirstNameIn(const std::string& name) {
    std::string text = ReadPath(FilePath(name));
    if (text == "<none>") return text;
    auto cards = VCard::Parse(text);
    if (!cards.ok() || cards->size() != 1) return "<bad>";
    return Utf16ToUtf8(cards->front().Text(31));
  }

  std::set<std::string> Names(const std::string& sub = "contacts") {
    std::set<std::string> names;
    if (!std::filesystem::exists(path_ + "/" + sub)) return names;
    for (const auto& entry :
         std::filesystem::directory_iterator(path_ + "/" + sub)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

  std::optional<SyncState> State() {
    auto dir = MirrorDirectory::Open(path_);
    if (!dir.ok()) return std::nullopt;
    auto state = SyncState::Load(**dir);
    return state.ok() ? *state : std::nullopt;
  }

  // The command byte of every packet sent.
  Bytes Commands() {
    Bytes commands;
    for (const Bytes& packet : stream_.WrittenPackets()) {
      commands.push_back(packet.at(0));
    }
    return commands;
  }

  std::string path_;
  ScriptedStream stream_;
};

}  // namespace desktop

#endif  // VORN_DESKTOP_SYNC_SYNC_ENGINE_FIXTURE_TEST_H_
