// Tests of the object model emulation, written against its interfaces.
#include "device/pim/outlook_app.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "device/pim/appointment_item.h"
#include "device/pim/task_item.h"
#include "platform/api.h"

namespace device {
namespace {

// An image with its context, store and application.
struct Handheld {
  explicit Handheld(std::unique_ptr<DeviceImage> image)
      : image(std::move(image)),
        faults(*this->image),
        context{*this->image, handles, faults},
        store(context),
        app(new OutlookApp(context, store)) {}
  ~Handheld() { app->Release(); }

  std::unique_ptr<DeviceImage> image;
  HandleTable handles;
  FaultSet faults;
  DeviceContext context;
  ObjectStore store;
  OutlookApp* app;
};

std::u16string Take(OutlookApp* app, BSTR text) {
  std::u16string copy = text == nullptr ? u"<null>" : std::u16string(text);
  app->SysFreeString(text);
  return copy;
}

IContact* NewContact(OutlookApp* app) {
  IDispatch* item = nullptr;
  EXPECT_EQ(app->CreateItem(olContactItem, &item), S_OK);
  return platform::ItemAs<IContact>(item);
}

class OutlookAppTest : public ::testing::Test {
 protected:
  OutlookAppTest() : device_(DeviceImage::InMemory()) {}
  OutlookApp* app() { return device_.app; }
  Handheld device_;
};

TEST_F(OutlookAppTest, ContactFieldsReadBackAfterSave) {
  IContact* contact = NewContact(app());
  LONG oid = -1;
  EXPECT_EQ(contact->get_Oid(&oid), S_OK);
  EXPECT_EQ(oid, 0);
  std::vector<std::u16string> written;
  int n = 0;
#define VORN_PUT(name)                                               \
  written.push_back(u"" #name u" " + std::u16string(1, u'A' + n++)); \
  EXPECT_EQ(contact->put_##name(written.back().c_str()), S_OK);
  VORN_CONTACT_STRING_PROPERTIES(VORN_PUT)
#undef VORN_PUT
  EXPECT_EQ(contact->put_Birthday(29000.5), S_OK);
  EXPECT_EQ(contact->put_Anniversary(-3.25), S_OK);
  ASSERT_EQ(contact->Save(), S_OK);
  ASSERT_EQ(contact->get_Oid(&oid), S_OK);
  EXPECT_NE(oid, 0);
  contact->Release();

  IDispatch* item = nullptr;
  ASSERT_EQ(app()->GetItemFromOid(oid, &item), S_OK);
  IContact* again = platform::ItemAs<IContact>(item);
  BSTR text = nullptr;
  std::size_t i = 0;
#define VORN_GET(name)                               \
  ASSERT_EQ(again->get_##name(&text), S_OK);         \
  EXPECT_EQ(Take(app(), text), written[i]) << #name; \
  ++i;
  VORN_CONTACT_STRING_PROPERTIES(VORN_GET)
#undef VORN_GET
  DATE date = 0;
  EXPECT_EQ(again->get_Birthday(&date), S_OK);
  EXPECT_EQ(date, 29000.5);
  EXPECT_EQ(again->get_Anniversary(&date), S_OK);
  EXPECT_EQ(date, -3.25);
  again->Release();
  EXPECT_EQ(app()->liveStringCount(), 0u);
}

TEST_F(OutlookAppTest, UnsetFieldsReadAsEmptyAndNoDate) {
  IContact* contact = NewContact(app());
  BSTR text = nullptr;
  ASSERT_EQ(contact->get_LastName(&text), S_OK);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(Take(app(), text), u"");
  DATE date = 0;
  EXPECT_EQ(contact->get_Birthday(&date), S_OK);
  EXPECT_EQ(date, 949998.0);
  contact->Release();
}

TEST_F(OutlookAppTest, ItemOidIsItsRecordInContactsDatabase) {
  IContact* contact = NewContact(app());
  contact->put_FirstName(u"Ann");
  ASSERT_EQ(contact->Save(), S_OK);
  LONG oid = 0;
  contact->get_Oid(&oid);
  contact->Release();

  // The long-notes write of the agent: a 1252 blob on the contact's record.
  CEOID dbOid = 0;
  HANDLE db =
      device_.store.CeOpenDatabase(&dbOid, u"Contacts Database", 0, 0, 0);
  ASSERT_NE(db, INVALID_HANDLE_VALUE);
  EXPECT_EQ(device_.store.CeSeekDatabase(db, CEDB_SEEK_BEGINNING, 0, nullptr),
            static_cast<CEOID>(oid));
  BYTE notes[] = {'c', 'a', 'f', 0xE9, ' ', 0x80};
  CEPROPVAL blob;
  std::memset(&blob, 0, sizeof(blob));
  blob.propid = 0x00170041;
  blob.val.blob = {sizeof(notes), notes};
  ASSERT_EQ(
      device_.store.CeWriteRecordProps(db, static_cast<CEOID>(oid), 1, &blob),
      static_cast<CEOID>(oid));

  IDispatch* item = nullptr;
  ASSERT_EQ(app()->GetItemFromOid(oid, &item), S_OK);
  IContact* again = platform::ItemAs<IContact>(item);
  BSTR text = nullptr;
  again->get_Body(&text);
  EXPECT_EQ(Take(app(), text), u"caf\u00e9 \u20ac");
  again->get_FirstName(&text);
  EXPECT_EQ(Take(app(), text), u"Ann");
  // Setting the notes through the object model drops the long form.
  again->put_Body(u"short");
  ASSERT_EQ(again->Save(), S_OK);
  again->Release();
  ASSERT_EQ(app()->GetItemFromOid(oid, &item), S_OK);
  platform::ItemAs<IContact>(item)->get_Body(&text);
  EXPECT_EQ(Take(app(), text), u"short");
  item->Release();
}

TEST_F(OutlookAppTest, OverReleaseIsCountedNotFreed) {
  IContact* contact = NewContact(app());
  EXPECT_EQ(contact->AddRef(), 2u);
  EXPECT_EQ(contact->Release(), 1u);
  EXPECT_EQ(contact->Release(), 0u);
  EXPECT_EQ(app()->overReleaseCount(), 0);
  EXPECT_EQ(contact->Release(), 0u);
  EXPECT_EQ(contact->Release(), 0u);
  EXPECT_EQ(app()->overReleaseCount(), 2);
  std::size_t pooled = app()->pooledCount();
  EXPECT_EQ(app()->SweepReleasedItems(), 1u);
  EXPECT_EQ(app()->pooledCount(), pooled - 1);
}

TEST_F(OutlookAppTest, SaveFaultAndChangeHook) {
  std::vector<std::tuple<int, CEOID, int>> changes;
  app()->SetChangeHook([&](int type, CEOID oid, int kind) {
    changes.emplace_back(type, oid, kind);
  });
  IContact* contact = NewContact(app());
  ASSERT_TRUE(device_.faults.Set("contact-save", "0x80070005").ok());
  EXPECT_EQ(contact->Save(), static_cast<HRESULT>(0x80070005U));
  LONG oid = -1;
  contact->get_Oid(&oid);
  EXPECT_EQ(oid, 0);
  ASSERT_TRUE(device_.faults.Set("contact-save", "-2147467259").ok());
  EXPECT_EQ(contact->Save(), E_FAIL);
  ASSERT_TRUE(device_.faults.Clear("contact-save").ok());
  ASSERT_EQ(contact->Save(), S_OK);
  contact->get_Oid(&oid);
  ASSERT_EQ(contact->Save(), S_OK);
  ASSERT_EQ(contact->Delete(), S_OK);
  EXPECT_EQ(contact->Delete(), E_FAIL);
  contact->Release();
  auto c = static_cast<CEOID>(oid);
  EXPECT_EQ(changes,
            (std::vector<std::tuple<int, CEOID, int>>{{olContactItem, c, 1},
                                                      {olContactItem, c, 2},
                                                      {olContactItem, c, 3}}));
  IDispatch* item = reinterpret_cast<IDispatch*>(0xBDBD);
  EXPECT_EQ(app()->GetItemFromOid(oid, &item), E_INVALIDARG);
}

TEST_F(OutlookAppTest, FoldersCountAndRemoveInStableOrder) {
  IFolder* folder = nullptr;
  EXPECT_EQ(app()->GetDefaultFolder(5, &folder), E_INVALIDARG);
  ASSERT_EQ(app()->GetDefaultFolder(olFolderTasks, &folder), S_OK);
  std::vector<LONG> oids;
  for (const char16_t* subject : {u"one", u"two", u"three"}) {
    IDispatch* item = nullptr;
    ASSERT_EQ(app()->CreateItem(olTaskItem, &item), S_OK);
    auto* task = dynamic_cast<TaskItem*>(item);
    ASSERT_NE(task, nullptr);
    task->put_Subject(subject);
    ASSERT_EQ(task->Save(), S_OK);
    LONG oid = 0;
    task->get_Oid(&oid);
    oids.push_back(oid);
    task->Release();
  }
  IPOutlookItemCollection* items = nullptr;
  ASSERT_EQ(folder->get_Items(&items), S_OK);
  int count = 0;
  ASSERT_EQ(items->get_Count(&count), S_OK);
  EXPECT_EQ(count, 3);
  IDispatch* item = nullptr;
  ASSERT_EQ(items->Item(2, &item), S_OK);
  BSTR text = nullptr;
  dynamic_cast<TaskItem*>(item)->get_Subject(&text);
  EXPECT_EQ(Take(app(), text), u"two");
  item->Release();
  EXPECT_EQ(items->Item(0, &item), E_INVALIDARG);
  EXPECT_EQ(items->Item(4, &item), E_INVALIDARG);
  EXPECT_EQ(items->Remove(2), S_OK);
  items->get_Count(&count);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(app()->GetItemFromOid(oids[1], &item), E_INVALIDARG);
  ASSERT_EQ(app()->GetItemFromOid(oids[2], &item), S_OK);
  EXPECT_NE(dynamic_cast<TaskItem*>(item), nullptr);
  item->Release();
  items->Release();
  folder->Release();
  EXPECT_EQ(app()->CreateItem(7, &item), E_INVALIDARG);
}

TEST_F(OutlookAppTest, LogonFaultAndTimeConversions) {
  EXPECT_EQ(app()->Logon(0), S_OK);
  ASSERT_TRUE(device_.faults.Set("logon-fails", "").ok());
  EXPECT_EQ(app()->Logon(0), E_FAIL);
  EXPECT_EQ(app()->Logoff(), S_OK);
  SYSTEMTIME time{};
  time.wYear = 1900;
  time.wMonth = 1;
  time.wDay = 1;
  time.wHour = 12;
  DATE date = 0;
  EXPECT_EQ(app()->SystemTimeToVariantTime(&time, &date), S_OK);
  EXPECT_EQ(date, 2.5);
  time.wMonth = 13;
  date = 7;
  EXPECT_EQ(app()->SystemTimeToVariantTime(&time, &date), E_INVALIDARG);
  EXPECT_EQ(date, 7);
  SYSTEMTIME out;
  std::memset(&out, 0xBD, sizeof(out));
  EXPECT_EQ(app()->VariantTimeToSystemTime(3000000.0, &out), E_INVALIDARG);
  EXPECT_EQ(out.wYear, 0xBDBD);
  EXPECT_EQ(app()->VariantTimeToSystemTime(949998.0, &out), S_OK);
  EXPECT_EQ(out.wYear, 4501);
  BSTR foreign = nullptr;
  EXPECT_EQ(app()->SysFreeString(foreign), S_OK);
  char16_t local[] = u"x";
  EXPECT_EQ(app()->SysFreeString(local), E_INVALIDARG);
}

TEST(OutlookAppPersistenceTest, ItemsSurviveReopeningTheImage) {
  std::string path =
      (std::filesystem::temp_directory_path() /
       ("vorn-outlook-app-" + std::to_string(::getpid()) + ".img"))
          .string();
  std::filesystem::remove(path);
  LONG contactOid = 0;
  LONG appointmentOid = 0;
  {
    auto image = DeviceImage::Create(path);
    ASSERT_TRUE(image.ok()) << image.status().message();
    Handheld device(std::move(image.value()));
    IContact* contact = NewContact(device.app);
    contact->put_LastName(u"Smith");
    contact->put_FileAs(u"Smith, John");
    ASSERT_EQ(contact->Save(), S_OK);
    contact->get_Oid(&contactOid);
    contact->Release();
    IDispatch* item = nullptr;
    ASSERT_EQ(device.app->CreateItem(olAppointmentItem, &item), S_OK);
    auto* appointment = dynamic_cast<AppointmentItem*>(item);
    appointment->put_Subject(u"Lunch");
    ASSERT_EQ(appointment->Save(), S_OK);
    appointment->get_Oid(&appointmentOid);
    appointment->Release();
  }
  {
    auto image = DeviceImage::Open(path);
    ASSERT_TRUE(image.ok()) << image.status().message();
    Handheld device(std::move(image.value()));
    IDispatch* item = nullptr;
    ASSERT_EQ(device.app->GetItemFromOid(contactOid, &item), S_OK);
    BSTR text = nullptr;
    platform::ItemAs<IContact>(item)->get_FileAs(&text);
    EXPECT_EQ(Take(device.app, text), u"Smith, John");
    item->Release();
    ASSERT_EQ(device.app->GetItemFromOid(appointmentOid, &item), S_OK);
    auto* appointment = dynamic_cast<AppointmentItem*>(item);
    ASSERT_NE(appointment, nullptr);
    appointment->get_Subject(&text);
    EXPECT_EQ(Take(device.app, text), u"Lunch");
    item->Release();
  }
  std::filesystem::remove(path);
  std::filesystem::remove(path + "-wal");
  std::filesystem::remove(path + "-shm");
}

}  // namespace
}  // namespace device
