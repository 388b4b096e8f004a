// A contact edited on the handheld while a run is in progress, right
// before the run would move its contract's mark, is not lost: the run asks
// for the changes again and takes the edit along, or the next run does.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <thread>

#include "agent/session/entry_point.h"
#include "desktop/formats/vcard.h"
#include "desktop/sync/mirror_directory.h"
#include "desktop/sync/sync_engine.h"
#include "desktop/transport/fd_stream.h"
#include "desktop/wire/handheld_client.h"
#include "device/device.h"
#include "device/pim/change_log_writer.h"
#include "device/pim/outlook_app.h"
#include "device/stream/byte_channel.h"
#include "device/stream/conversation.h"
#include "platform/pimstore.h"
#include "tests/support/program.h"

namespace {

class Handheld {
 public:
  Handheld() : device_(device::Device::InMemory()) {
    device_->SetMessageOutput(&messages_);
  }

  // Runs `edit` with an application object whose saves are logged, as the
  // handheld's own programs do.
  template <typename Fn>
  void Edit(Fn edit) {
    device::ScopedServices services(device_->services());
    auto* app =
        new device::OutlookApp(device_->context(), device_->objectStore());
    device::ChangeLogWriter& log = device_->changeLog();
    app->SetChangeHook([&log](int type, CEOID oid, int kind) {
      log.OnChange(type, oid, kind);
    });
    edit(*app);
    app->Release();
  }

  CEOID Add(const char16_t* first) {
    CEOID oid = 0;
    Edit([&](device::OutlookApp& app) {
      IDispatch* item = nullptr;
      ASSERT_GE(app.CreateItem(olContactItem, &item), 0);
      auto* contact = platform::ItemAs<IContact>(item);
      contact->put_FirstName(first);
      ASSERT_GE(contact->Save(), 0);
      LONG id = 0;
      contact->get_Oid(&id);
      oid = static_cast<CEOID>(id);
      item->Release();
    });
    return oid;
  }

  void SetJobTitle(CEOID oid, const char16_t* title) {
    Edit([&](device::OutlookApp& app) {
      IDispatch* item = nullptr;
      ASSERT_GE(app.GetItemFromOid(static_cast<LONG>(oid), &item), 0);
      auto* contact = platform::ItemAs<IContact>(item);
      contact->put_JobTitle(title);
      ASSERT_GE(contact->Save(), 0);
      item->Release();
    });
  }

  // One sync run over a socket pair; `on_progress` runs on this thread
  // while the handheld's side waits for the next request.
  desktop::Result<desktop::SyncSummary> Sync(
      const std::string& dir,
      std::function<void(const desktop::SyncProgress&)> on_progress) {
    int fds[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    std::thread served([&] {
      device::FdChannel channel(fds[1], fds[1]);
      device::RunConversation(*device_, channel, rsCeApiMgr);
      close(fds[1]);
    });
    desktop::FdStream stream(fds[0], fds[0]);
    desktop::HandheldClient client(stream);
    auto mirror = desktop::MirrorDirectory::Open(dir);
    EXPECT_TRUE(mirror.ok());
    desktop::SyncOptions options;
    options.partner = "mid-run";
    options.on_progress = std::move(on_progress);
    desktop::Result<desktop::SyncSummary> summary =
        desktop::SyncEngine(client, **mirror, options).Run();
    EXPECT_TRUE(client.EndSession().ok());
    (void)stream.Close();
    served.join();
    return summary;
  }

 private:
  std::unique_ptr<device::Device> device_;
  std::ostringstream messages_;
};

// The job titles in the mirror's cards.
std::string Titles(const std::string& dir) {
  std::string titles;
  for (const auto& entry :
       std::filesystem::directory_iterator(dir + "/contacts")) {
    if (entry.path().extension() != ".vcf") continue;
    auto bytes = testing_support::ReadFileBytes(entry.path().string());
    auto cards = desktop::VCard::Parse(std::string(bytes.begin(), bytes.end()));
    if (!cards.ok() || cards->size() != 1) return "<bad card>";
    std::u16string_view title = cards->front().Text(11);
    titles += std::string(title.begin(), title.end()) + ";";
  }
  return titles;
}

TEST(SyncMidRunEditTest, EditBeforeTheMarkMovesIsTakenAlong) {
  testing_support::TempDir tmp;
  std::string dir = tmp.path("mirror");
  Handheld handheld;
  CEOID ann = handheld.Add(u"Ann");
  auto first = handheld.Sync(dir, nullptr);
  ASSERT_TRUE(first.ok()) << first.status().message();

  // The edit falls between the run's own work and its last look at the
  // change list, where a run that moved the mark straight away would skip
  // it for good.
  handheld.SetJobTitle(ann, u"Before");
  bool edited = false;
  auto second = handheld.Sync(dir, [&](const desktop::SyncProgress& p) {
    if (std::string(p.phase) == "confirming" && !edited) {
      edited = true;
      handheld.SetJobTitle(ann, u"During");
    }
  });
  ASSERT_TRUE(second.ok()) << second.status().message();
  ASSERT_TRUE(edited);
  EXPECT_EQ(Titles(dir), "During;");

  // Nothing is left over for the next run to catch up.
  auto third = handheld.Sync(dir, nullptr);
  ASSERT_TRUE(third.ok()) << third.status().message();
  EXPECT_EQ(third->records_fetched, 0u);
  EXPECT_EQ(Titles(dir), "During;");
}

}  // namespace
