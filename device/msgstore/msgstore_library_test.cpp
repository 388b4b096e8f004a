#include "device/msgstore/msgstore_library.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "device/device.h"
#include "device/kernel/kernel.h"
#include "device/pim/change_log_writer.h"
#include "platform/api.h"

namespace device {
namespace {

constexpr BYTE kSentinel = 0xBD;

class MsgStoreLibraryTest : public ::testing::Test {
 protected:
  MsgStoreLibraryTest() : device_(Device::InMemory()) {
    module_ = device_->kernel().LoadLibraryW(u"msgstore.dll");
  }

  template <typename F>
  F Get(WORD ordinal) {
    FARPROC found =
        device_->kernel().GetProcAddressW(module_, OrdinalName(ordinal));
    EXPECT_NE(found, nullptr) << ordinal;
    return FromFarProc<F>(found);
  }

  HANDLE OpenStore() {
    HANDLE store = 0;
    EXPECT_EQ(Get<MsgStoreOpenFn>(kMsgStoreOpen)(&store, 1), TRUE);
    return store;
  }

  // A message record full of sentinel bytes but for what is set.
  static MsgStoreMessage Sentinel(CEOID oid, DWORD flags) {
    MsgStoreMessage message;
    std::memset(&message, kSentinel, sizeof(message));
    message.oid = oid;
    message.flags = flags;
    return message;
  }

  CEOID AddSample(HANDLE store) {
    MsgStoreMessage message = {};
    WCHAR header[] = u"";
    WCHAR body[] = u"Hi there";
    WCHAR service[] = u"Mail";
    message.header = header;
    message.body = body;
    message.service = service;
    message.flags = kMsgStoreInbox;
    message.thirdWord = 77;
    message.date = {0x12345678, 0x01DA0000};
    auto set = Get<MsgStoreSetHeaderFn>(kMsgStoreSetHeader);
    EXPECT_EQ(set(&message, u"From", u"a@example.org"), TRUE);
    EXPECT_EQ(set(&message, u"Subject", u"Greetings"), TRUE);
    EXPECT_EQ(set(&message, u"from", u"b@example.org"), TRUE);
    EXPECT_EQ(Get<MsgStoreMessageFn>(kMsgStoreAddMessage)(store, &message),
              TRUE);
    EXPECT_NE(message.oid, 0U);
    return message.oid;
  }

  std::unique_ptr<Device> device_;
  HMODULE module_ = 0;
};

TEST_F(MsgStoreLibraryTest, ExportsByOrdinalOnly) {
  ASSERT_NE(module_, 0U);
  EXPECT_EQ(device_->kernel().GetProcAddressW(module_, OrdinalName(2)),
            nullptr);
  EXPECT_EQ(device_->kernel().GetProcAddressW(module_, u"Open"), nullptr);
}

TEST_F(MsgStoreLibraryTest, OpenAndClose) {
  HANDLE store = OpenStore();
  ASSERT_NE(store, 0U);
  EXPECT_EQ(Get<MsgStoreCloseFn>(kMsgStoreClose)(store), TRUE);
  EXPECT_EQ(Get<MsgStoreCloseFn>(kMsgStoreClose)(store), FALSE);
  ASSERT_TRUE(device_->faults().Set("msgstore-open-fails", "").ok());
  HANDLE none = 0xBD;
  EXPECT_EQ(Get<MsgStoreOpenFn>(kMsgStoreOpen)(&none, 1), FALSE);
  EXPECT_EQ(none, 0xBDU);
}

TEST_F(MsgStoreLibraryTest, AddFetchAndHeaders) {
  HANDLE store = OpenStore();
  CEOID oid = AddSample(store);

  // State only: the rest of the record stays as it was.
  MsgStoreMessage state = Sentinel(oid, kMsgStoreFetchState | 0xFF);
  ASSERT_EQ(Get<MsgStoreMessageFn>(kMsgStoreGetMessage)(store, &state), TRUE);
  EXPECT_EQ(state.flags, DWORD{kMsgStoreInbox});
  EXPECT_EQ(state.thirdWord, 77U);
  EXPECT_EQ(state.bodyLength, 0xBDBD);
  MsgStoreMessage untouched = Sentinel(oid, 0);
  EXPECT_EQ(std::memcmp(&state.body, &untouched.body, sizeof(state.body)), 0);

  MsgStoreMessage all = Sentinel(oid, kMsgStoreFetchAll | 0xFF);
  ASSERT_EQ(Get<MsgStoreMessageFn>(kMsgStoreGetMessage)(store, &all), TRUE);
  EXPECT_EQ(std::u16string(all.body), u"Hi there");
  EXPECT_EQ(all.bodyLength, 18);
  EXPECT_EQ(std::u16string(all.service), u"Mail");
  EXPECT_EQ(all.date.dwLowDateTime, 0x12345678U);
  EXPECT_EQ(all.date.dwHighDateTime, 0x01DA0000U);
  EXPECT_EQ(std::u16string(all.header),
            u"From: b@example.org\r\nSubject: Greetings\r\n");
  auto header = Get<MsgStoreGetHeaderFn>(kMsgStoreGetHeader);
  EXPECT_EQ(std::u16string(header(&all, u"FROM", 0)), u"b@example.org");
  EXPECT_EQ(header(&all, u"Cc", 0), nullptr);
  Get<MsgStoreFreeFn>(kMsgStoreFree)(&all);
  EXPECT_EQ(all.body, nullptr);
  EXPECT_EQ(device_->msgStoreLibrary().LiveRecordCount(), 0U);
}

TEST_F(MsgStoreLibraryTest, MissingMessageSetsError16) {
  HANDLE store = OpenStore();
  MsgStoreMessage message = Sentinel(0x4242, kMsgStoreFetchState | 0xFF);
  EXPECT_EQ(Get<MsgStoreMessageFn>(kMsgStoreGetMessage)(store, &message),
            FALSE);
  EXPECT_EQ(Get<MsgStoreLastErrorFn>(kMsgStoreLastError)(store),
            kMsgStoreNoSuchMessage);
  EXPECT_EQ(message.flags, kMsgStoreFetchState | 0xFF);
  EXPECT_EQ(Get<MsgStoreMessageFn>(kMsgStoreDeleteMessage)(store, &message),
            FALSE);
}

TEST_F(MsgStoreLibraryTest, Attachments) {
  HANDLE store = OpenStore();
  CEOID oid = AddSample(store);
  MsgStoreMessage message = {};
  message.oid = oid;
  auto add = Get<MsgStoreAttachmentFn>(kMsgStoreAddAttachment);
  auto get = Get<MsgStoreGetAttachmentFn>(kMsgStoreGetAttachment);
  for (int i = 1; i <= 3; ++i) {
    std::u16string first = u"n" + std::u16string(1, u'0' + i);
    std::u16string second = u"\\p" + std::u16string(1, u'0' + i);
    MsgStoreAttachment attachment = {};
    attachment.index = static_cast<DWORD>(i);
    attachment.first = first.data();
    attachment.second = second.data();
    EXPECT_EQ(add(store, &message, &attachment), TRUE);
  }
  EXPECT_EQ(get(store, &message, nullptr), 3);
  MsgStoreAttachment fetched = {};
  fetched.index = 2;
  ASSERT_EQ(get(store, &message, &fetched), 1);
  EXPECT_EQ(std::u16string(fetched.first), u"n2");
  EXPECT_EQ(std::u16string(fetched.second), u"\\p2");
  fetched.index = 4;
  EXPECT_EQ(get(store, &message, &fetched), 0);
  fetched.index = 1;
  EXPECT_EQ(Get<MsgStoreDeleteAttachmentFn>(kMsgStoreDeleteAttachment)(
                store, &message, &fetched, 1),
            TRUE);
  EXPECT_EQ(get(store, &message, nullptr), 2);
  fetched.index = 1;
  ASSERT_EQ(get(store, &message, &fetched), 1);
  EXPECT_EQ(std::u16string(fetched.first), u"n2");
  Get<MsgStoreFreeFn>(kMsgStoreFree)(&message);
}

TEST_F(MsgStoreLibraryTest, FirstMessageOfAFolder) {
  HANDLE store = OpenStore();
  CEOID inbox = AddSample(store);
  auto stored = device_->messageStore().Read(inbox);
  ASSERT_TRUE(stored.has_value());
  stored->flags = kMsgStoreDrafts;
  stored->oid = 0;
  Result<CEOID> drafts = device_->messageStore().Add(*stored);
  ASSERT_TRUE(drafts.ok());
  auto first = Get<MsgStoreMessageFn>(kMsgStoreFirstMessage);
  MsgStoreMessage message = {};
  message.flags = kMsgStoreDrafts;
  ASSERT_EQ(first(store, &message), TRUE);
  EXPECT_EQ(message.oid, *drafts);
  message = {};
  message.flags = 0xFF;
  ASSERT_EQ(first(store, &message), TRUE);
  EXPECT_EQ(message.oid, inbox);
  message = {};
  message.flags = kMsgStoreSent;
  EXPECT_EQ(first(store, &message), FALSE);
}

TEST_F(MsgStoreLibraryTest, FurtherProperties) {
  HANDLE store = OpenStore();
  CEOID oid = AddSample(store);
  auto further = Get<MsgStoreFurtherPropsFn>(kMsgStoreFurtherProps);
  MsgStoreMessage message = {};
  message.oid = oid;
  DWORD count = 0xBD;
  CEPROPVAL* values = nullptr;
  EXPECT_EQ(further(store, &message, &count, &values), 1);
  EXPECT_EQ(count, 0U);
  EXPECT_EQ(values, nullptr);

  auto stored = device_->messageStore().Read(oid);
  ASSERT_TRUE(stored.has_value());
  RecordValue text;
  text.id = 0x0066001F;
  text.text = u"account";
  RecordValue time;
  time.id = 0x00600040;
  time.number = 0x01DA000012345678;
  stored->further = {text, time};
  ASSERT_TRUE(device_->messageStore().Update(*stored).ok());
  ASSERT_EQ(further(store, &message, &count, &values), 1);
  ASSERT_EQ(count, 2U);
  EXPECT_EQ(values[0].propid, 0x0066001FU);
  EXPECT_EQ(std::u16string(values[0].val.lpwstr), u"account");
  EXPECT_EQ(values[1].propid, 0x00600040U);
  EXPECT_EQ(values[1].val.filetime.dwHighDateTime, 0x01DA0000U);
  EXPECT_EQ(values[1].val.filetime.dwLowDateTime, 0x12345678U);
  LocalFree(values);
}

TEST_F(MsgStoreLibraryTest, ChangesGoToTheMailLog) {
  HANDLE store = OpenStore();
  CEOID oid = AddSample(store);
  MsgStoreMessage message = {};
  message.oid = oid;
  message.flags = kMsgStoreSent;
  EXPECT_EQ(Get<MsgStoreUpdateFn>(kMsgStoreUpdateMessage)(store, &message, 1),
            TRUE);
  EXPECT_EQ(Get<MsgStoreMessageFn>(kMsgStoreDeleteMessage)(store, &message),
            TRUE);
  auto entries = device_->changeLog().List(u"\\VornMailLog");
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].kind, 3);
  EXPECT_EQ(entries[1].kind, 2);
  EXPECT_EQ(entries[2].kind, 1);
  for (const auto& entry : entries) EXPECT_EQ(entry.oid, oid);
  EXPECT_GT(entries[0].sequence, entries[1].sequence);
}

TEST_F(MsgStoreLibraryTest, WriteFault) {
  HANDLE store = OpenStore();
  ASSERT_TRUE(device_->faults().Set("msgstore-write-fails", "").ok());
  MsgStoreMessage message = {};
  EXPECT_EQ(Get<MsgStoreMessageFn>(kMsgStoreAddMessage)(store, &message),
            FALSE);
  EXPECT_TRUE(device_->messageStore().List().empty());
  EXPECT_TRUE(device_->changeLog().List(u"\\VornMailLog").empty());
}

TEST(MsgStoreLibraryEndTest, ExportsFaultAfterTheirHandheldEnded) {
  FARPROC open = nullptr;
  {
    auto device = Device::InMemory();
    HMODULE module = device->kernel().LoadLibraryW(u"msgstore.dll");
    open = device->kernel().GetProcAddressW(module, OrdinalName(kMsgStoreOpen));
    ASSERT_NE(open, nullptr);
  }
  HANDLE store = 0;
  EXPECT_THROW(FromFarProc<MsgStoreOpenFn>(open)(&store, 1), platform::Fault);
}

}  // namespace
}  // namespace device
