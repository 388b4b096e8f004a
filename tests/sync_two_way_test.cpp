// `vorn sync` in both directions: files edited in the mirror and contacts
// edited on the handheld (`vorn-device pim`), compared after every run.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "desktop/base/utf16.h"
#include "desktop/formats/json_text.h"
#include "desktop/formats/vcard.h"
#include "tests/support/program.h"
#include "tests/sync_mirror_check.h"

namespace {

using testing_support::ProgramResult;
using testing_support::RunProgram;
using testing_support::TempDir;

class SyncTwoWayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("XDG_CONFIG_HOME", tmp_.path("config").c_str(), 1);
    image_ = tmp_.path("h.img");
    dir_ = tmp_.path("mirror");
    ProgramResult init = RunProgram({"vorn-device", "init", image_});
    ASSERT_EQ(init.exitCode, 0) << init.err;
  }

  std::string Add(const std::string& json) {
    ProgramResult r =
        RunProgram({"vorn-device", "pim", image_, "add", "contacts", json});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    auto lines = sync_check::Lines(r.outText());
    return lines.empty() ? "" : lines.back();
  }
  void Set(const std::string& oid, const std::string& json) {
    ProgramResult r = RunProgram(
        {"vorn-device", "pim", image_, "set", "contacts", oid, json});
    EXPECT_EQ(r.exitCode, 0) << r.err;
  }
  void Delete(const std::string& oid) {
    ProgramResult r =
        RunProgram({"vorn-device", "pim", image_, "delete", "contacts", oid});
    EXPECT_EQ(r.exitCode, 0) << r.err;
  }

  ProgramResult SyncRun(std::vector<std::string> extra = {}) {
    std::vector<std::string> args = {"vorn", "--image", image_,
                                     "sync", dir_,      "--json"};
    args.insert(args.end(), extra.begin(), extra.end());
    return RunProgram(args);
  }
  desktop::Json Sync(std::vector<std::string> extra = {}) {
    ProgramResult r = SyncRun(std::move(extra));
    EXPECT_EQ(r.exitCode, 0) << r.err;
    auto json = desktop::JsonText::Parse(r.outText());
    EXPECT_TRUE(json.ok()) << r.outText();
    sync_check::ExpectMirrorMatches({"vorn", "--image", image_}, dir_);
    return json.ok() ? *json : desktop::Json();
  }

  std::string Path(const std::string& file) {
    return dir_ + "/contacts/" + file;
  }
  // The file the state pairs with `oid`.
  std::string FileOf(const std::string& oid) {
    auto state = sync_check::LoadState(dir_);
    if (!state) return "";
    for (const auto& [uid, item] : state->collections["contacts"].items) {
      if (std::to_string(item.oid) == oid) return item.file;
    }
    return "";
  }
  std::string OidOf(const std::string& file) {
    auto state = sync_check::LoadState(dir_);
    if (!state) return "";
    for (const auto& [uid, item] : state->collections["contacts"].items) {
      if (item.file == file) return std::to_string(item.oid);
    }
    return "";
  }
  desktop::Contact ReadCard(const std::string& file) {
    auto cards = desktop::VCard::Parse(sync_check::ReadText(Path(file)));
    EXPECT_TRUE(cards.ok() && cards->size() == 1) << file;
    return cards.ok() && !cards->empty() ? cards->front() : desktop::Contact();
  }
  void WriteCard(const std::string& file, const desktop::Contact& contact) {
    std::string text = desktop::VCard::Write(contact);
    testing_support::WriteFileBytes(Path(file), {text.begin(), text.end()});
  }
  // Sets one text field of a file's card (keeping its UID).
  void EditFile(const std::string& file, std::uint32_t id,
                const std::u16string& text) {
    desktop::Contact contact = ReadCard(file);
    contact.SetText(id, text);
    WriteCard(file, contact);
  }
  void SetMtime(const std::string& file, std::time_t when) {
    utimbuf times{when, when};
    ASSERT_EQ(utime(Path(file).c_str(), &times), 0);
  }
  std::u16string HandheldText(const std::string& oid, std::uint32_t id) {
    ProgramResult r = RunProgram(
        {"vorn", "--image", image_, "get", "contacts", oid, "--vcard"});
    auto cards = desktop::VCard::Parse(r.outText());
    if (!cards.ok() || cards->size() != 1) return u"<none>";
    return std::u16string(cards->front().Text(id));
  }
  std::size_t ConflictCopies(const std::string& side) {
    std::size_t n = 0;
    if (!std::filesystem::exists(dir_ + "/.vorn-conflicts")) return 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(dir_ + "/.vorn-conflicts")) {
      // "<uid>-<time>-<side>.vcf", numbered ("-2") when one came first.
      std::string name = entry.path().filename().string();
      n += name.find("-" + side + ".vcf") != std::string::npos ||
           name.find("-" + side + "-") != std::string::npos;
    }
    return n;
  }

  TempDir tmp_;
  std::string image_;
  std::string dir_;
};

TEST_F(SyncTwoWayTest, EveryFieldRoundTripsThroughTheHandheld) {
  Sync();
  desktop::Contact all;
  for (std::uint32_t id = 3; id <= 50; ++id) {
    if (id == 26) continue;  // FileAs: the handheld computes it
    std::string value = "v" + std::to_string(id) + " \xC3\xA9";
    all.SetText(id, desktop::Utf8ToUtf16(value));
  }
  all.SetText(22, u"Friends");
  all.SetText(50, u"two\r\nlines; with, marks\\");
  all.SetTime(1, desktop::TimeRecord::FromDate(2001, 6, 30));
  all.SetTime(2, desktop::TimeRecord::FromDate(1970, 1, 2));
  all.uid = "urn:uuid:0b9c8f1e-0000-4000-8000-000000000001";
  WriteCard("all.vcf", all);
  desktop::Json first = Sync();
  EXPECT_EQ(first.at("sent_added").get<int>(), 1);
  std::string oid = OidOf("all.vcf");
  ASSERT_FALSE(oid.empty());
  ProgramResult got = RunProgram(
      {"vorn", "--image", image_, "get", "contacts", oid, "--vcard"});
  auto back = desktop::VCard::Parse(got.outText());
  ASSERT_TRUE(back.ok() && back->size() == 1);
  for (std::uint32_t id = 1; id <= 50; ++id) {
    if (id == 26) continue;
    SCOPED_TRACE("field " + std::to_string(id));
    EXPECT_EQ(back->front().fields().count(id), 1u);
    EXPECT_TRUE(back->front().fields().at(id) == all.fields().at(id));
  }
  // Changed on the handheld, the file takes the change and keeps the rest.
  Set(oid, R"({"JobTitle":"Changed"})");
  desktop::Json second = Sync();
  EXPECT_EQ(second.at("changed").get<int>(), 1);
  desktop::Contact file = ReadCard("all.vcf");
  EXPECT_EQ(file.uid, all.uid);
  all.SetText(11, u"Changed");
  all.uid.clear();
  file.uid.clear();
  file.rev.clear();
  EXPECT_EQ(file, all);
}

TEST_F(SyncTwoWayTest, EditsOnBothSidesAndEveryConflictPolicy) {
  std::string a = Add(R"({"FirstName":"Ann"})");
  std::string b = Add(R"({"FirstName":"Bo"})");
  std::string c = Add(R"({"FirstName":"Cy"})");
  std::string g = Add(R"({"FirstName":"Gus"})");
  Sync();

  // Both sides add, change and delete different contacts.
  desktop::Contact dee;
  dee.SetText(31, u"Dee");
  WriteCard("dee.vcf", dee);
  EditFile(FileOf(a), 11, u"Desk title");
  std::filesystem::remove(Path(FileOf(b)));
  std::string e = Add(R"({"FirstName":"Eve"})");
  Set(c, R"({"JobTitle":"Hand title"})");
  desktop::Json run = Sync();
  EXPECT_EQ(run.at("sent_added").get<int>(), 1);
  EXPECT_EQ(run.at("sent_changed").get<int>(), 1);
  EXPECT_EQ(run.at("sent_deleted").get<int>(), 1);
  EXPECT_EQ(run.at("added").get<int>(), 1);
  EXPECT_EQ(run.at("changed").get<int>(), 1);
  EXPECT_TRUE(run.at("conflicts").empty());
  EXPECT_EQ(HandheldText(a, 11), u"Desk title");
  std::string d = OidOf("dee.vcf");

  // Conflict, default policy: the handheld wins, the file goes aside.
  Set(a, R"({"JobTitle":"H1"})");
  EditFile(FileOf(a), 11, u"D1");
  run = Sync();
  EXPECT_EQ(run.at("conflicts").size(), 1u);
  EXPECT_EQ(ReadCard(FileOf(a)).Text(11), u"H1");
  EXPECT_EQ(ConflictCopies("desktop"), 1u);

  // --conflict desktop: the file wins, the handheld's version goes aside.
  Set(c, R"({"JobTitle":"H2"})");
  EditFile(FileOf(c), 11, u"D2");
  run = Sync({"--conflict", "desktop"});
  EXPECT_EQ(run.at("conflicts").size(), 1u);
  EXPECT_EQ(HandheldText(c, 11), u"D2");
  EXPECT_EQ(ConflictCopies("handheld"), 1u);

  // --conflict newest: a file changed after the middle of the time since
  // the last run wins; one dated before it loses.
  Set(d, R"({"JobTitle":"H3"})");
  EditFile("dee.vcf", 11, u"D3");
  SetMtime("dee.vcf", std::time(nullptr) + 3600);
  Set(e, R"({"JobTitle":"H4"})");
  EditFile(FileOf(e), 11, u"D4");
  SetMtime(FileOf(e), 1000);
  run = Sync({"--conflict", "newest"});
  EXPECT_EQ(run.at("conflicts").size(), 2u);
  EXPECT_EQ(HandheldText(d, 11), u"D3");
  EXPECT_EQ(ReadCard(FileOf(e)).Text(11), u"H4");
  EXPECT_EQ(ConflictCopies("handheld"), 2u);
  EXPECT_EQ(ConflictCopies("desktop"), 2u);

  // Deleted on one side, changed on the other.
  std::string a_file = FileOf(a);
  Delete(a);
  EditFile(a_file, 11, u"D5");
  run = Sync();  // the handheld's deletion wins; the file is kept aside
  EXPECT_FALSE(std::filesystem::exists(Path(a_file)));
  EXPECT_EQ(ConflictCopies("desktop"), 3u);
  std::string g_file = FileOf(g);
  Set(g, R"({"JobTitle":"H6"})");
  std::filesystem::remove(Path(g_file));
  run = Sync({"--conflict", "desktop"});  // the deletion wins
  EXPECT_EQ(HandheldText(g, 11), u"<none>");
  EXPECT_EQ(ConflictCopies("handheld"), 3u);

  // Deleted on both sides: nothing to do, no conflict.
  std::string e_file = FileOf(e);
  Delete(e);
  std::filesystem::remove(Path(e_file));
  run = Sync();
  EXPECT_TRUE(run.at("conflicts").empty());
  EXPECT_EQ(run.at("sent_deleted").get<int>() + run.at("deleted").get<int>(),
            0);
}

TEST_F(SyncTwoWayTest, PropertiesTheHandheldCannotHoldSurvive) {
  std::string oid =
      Add(R"({"FirstName":"Ann","Email1Address":"a@x","Email2Address":"b@x",)"
          R"("Email3Address":"c@x"})");
  Sync();
  std::string file = FileOf(oid);
  std::string text = sync_check::ReadText(Path(file));
  std::string extra =
      "EMAIL:fourth@x\r\nPHOTO:data:image/png;base64,iVBORw0K\r\n"
      "X-OTHER-PROGRAM:kept\r\n";
  text.insert(text.find("END:VCARD"), extra);
  testing_support::WriteFileBytes(Path(file), {text.begin(), text.end()});
  Sync();  // the file changed; the handheld has no room for the extras
  Set(oid, R"({"JobTitle":"Pilot","Email2Address":"new@x"})");
  desktop::Json run = Sync();
  EXPECT_EQ(run.at("changed").get<int>(), 1);
  std::string after = sync_check::ReadText(Path(file));
  EXPECT_NE(after.find("TITLE:Pilot"), std::string::npos);
  EXPECT_NE(after.find("new@x"), std::string::npos);
  EXPECT_NE(after.find("EMAIL:fourth@x"), std::string::npos);
  EXPECT_NE(after.find("PHOTO:data:image/png;base64,iVBORw0K"),
            std::string::npos);
  EXPECT_NE(after.find("X-OTHER-PROGRAM:kept"), std::string::npos);
  EXPECT_EQ(after.find("b@x"), std::string::npos);
}

TEST_F(SyncTwoWayTest, DeletingMoreThanHalfAsksForForce) {
  std::vector<std::string> oids;
  for (const char* name : {"A", "B", "C"}) {
    oids.push_back(Add(std::string(R"({"FirstName":")") + name + "\"}"));
  }
  Sync();
  std::optional<desktop::SyncState> state = sync_check::LoadState(dir_);
  ASSERT_TRUE(state);
  Delete(oids[0]);
  Delete(oids[1]);
  ProgramResult refused = SyncRun();
  EXPECT_NE(refused.exitCode, 0);
  EXPECT_EQ(refused.err,
            "vorn: refusing to delete 2 of 3 contacts in the directory (more "
            "than half); run again with --force to do it\n");
  EXPECT_EQ(sync_check::LoadState(dir_), state);
  EXPECT_EQ(
      std::distance(std::filesystem::directory_iterator(dir_ + "/contacts"),
                    std::filesystem::directory_iterator()),
      4);
  desktop::Json forced = Sync({"--force"});
  EXPECT_EQ(forced.at("deleted").get<int>(), 2);
}

TEST_F(SyncTwoWayTest, OldLayoutIsMigratedWithoutFetching) {
  std::string ann = Add(R"({"FirstName":"Ann"})");
  std::string bo = Add(R"({"FirstName":"Bo","CompanyName":"Acme"})");
  // The old layout: DIR/<oid>.vcf beside a format 1 state, made by a run
  // of the old program under contract "old-desk" (whose mark a sync into a
  // scratch directory sets here).
  ASSERT_EQ(RunProgram({"vorn", "--image", image_, "sync", tmp_.path("scratch"),
                        "--partner", "old-desk"})
                .exitCode,
            0);
  std::filesystem::create_directory(dir_);
  for (const std::string& oid : {ann, bo}) {
    ProgramResult card = RunProgram(
        {"vorn", "--image", image_, "get", "contacts", oid, "--vcard"});
    testing_support::WriteFileBytes(dir_ + "/" + oid + ".vcf", card.out);
  }
  ProgramResult id = RunProgram({"vorn", "--image", image_, "info", "--json"});
  auto info = desktop::JsonText::Parse(id.outText());
  ASSERT_TRUE(info.ok()) << id.outText();
  std::string legacy = R"({"format":1,"partner":"old-desk","machine_id":")" +
                       info->at("machine_id").get<std::string>() +
                       R"(","full_mirror_pending":false,"last_run":"",)"
                       R"("last_run_kind":"full"})";
  testing_support::WriteFileBytes(dir_ + "/.vorn-sync.json",
                                  {legacy.begin(), legacy.end()});
  desktop::Json run = Sync();
  EXPECT_TRUE(run.at("migrated").get<bool>());
  EXPECT_FALSE(run.at("full").get<bool>());
  // The text state moved into the database.
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/.vorn-sync.json"));
  EXPECT_TRUE(std::filesystem::exists(dir_ + "/.vorn-sync.db"));
  EXPECT_EQ(sync_check::LoadState(dir_)->partner, "old-desk");
  EXPECT_EQ(run.at("records_fetched").get<int>(), 0);
  EXPECT_FALSE(std::filesystem::exists(dir_ + "/" + ann + ".vcf"));
  EXPECT_TRUE(std::filesystem::exists(dir_ + "/contacts/displayname"));
  Set(bo, R"({"JobTitle":"After"})");
  run = Sync();
  EXPECT_EQ(run.at("changed").get<int>(), 1);
  EXPECT_FALSE(run.at("migrated").get<bool>());
}

}  // namespace
