#include "device/mapi/mapi.h"

#include <gtest/gtest.h>

#include <cstring>

#include "device/device.h"
#include "device/kernel/kernel.h"
#include "device/mapi/mail_editor.h"
#include "device/pim/change_log_writer.h"
#include "protocol/change_log.h"

namespace device {
namespace {

constexpr BYTE kSentinel = 0xBD;

class MapiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    HMODULE module = device_->kernel().LoadLibraryW(u"CEMAPI.DLL");
    ASSERT_NE(module, 0U);
    logon_ = platform::FromFarProc<LPMAPILOGONEX>(
        device_->kernel().GetProcAddressW(module, u"MAPILogonEx"));
    free_ = platform::FromFarProc<LPMAPIFREEBUFFER>(
        device_->kernel().GetProcAddressW(module, u"MAPIFreeBuffer"));
    ASSERT_NE(logon_, nullptr);
    ASSERT_NE(free_, nullptr);
    IMAPISession* session = nullptr;
    ASSERT_EQ(logon_(0, nullptr, nullptr, 0, &session), S_OK);
    ASSERT_EQ(session->OpenMsgStore(0, 0, nullptr, nullptr, 0, &store_), S_OK);
  }

  IMAPIFolder* Folder(ULONG tag) {
    SPropTagArray tags = {};
    tags.cValues = 1;
    tags.aulPropTag[0] = tag;
    ULONG count = 0;
    SPropValue* values = nullptr;
    EXPECT_EQ(store_->GetProps(&tags, MAPI_UNICODE, &count, &values), S_OK);
    IUnknown* opened = nullptr;
    ULONG type = 0;
    EXPECT_EQ(store_->OpenEntry(values[0].Value.bin.cb, values[0].Value.bin.lpb,
                                nullptr, MAPI_MODIFY, &type, &opened),
              S_OK);
    EXPECT_EQ(type, MAPI_FOLDER);
    free_(values);
    return platform::MapiAs<IMAPIFolder>(opened);
  }

  std::unique_ptr<Device> device_ = Device::InMemory();
  LPMAPILOGONEX logon_ = nullptr;
  LPMAPIFREEBUFFER free_ = nullptr;
  IMsgStore* store_ = nullptr;
};

TEST_F(MapiTest, TheLibraryKeepsItsHandleAndGoesAwayUnderTheFault) {
  Kernel& kernel = device_->kernel();
  HMODULE module = kernel.LoadLibraryW(u"cemapi");
  EXPECT_EQ(module, kernel.LoadLibraryW(u"CEMAPI.DLL"));
  device_->BeginConversation();
  EXPECT_NE(kernel.GetProcAddressW(module, u"FreeProws"), nullptr);
  EXPECT_EQ(kernel.GetProcAddressW(module, u"MAPIAllocateBuffer"), nullptr);
  EXPECT_EQ(kernel.GetLastError(), ERROR_PROC_NOT_FOUND);
  ASSERT_TRUE(device_->faults().Set("mapi-missing", "").ok());
  EXPECT_EQ(kernel.LoadLibraryW(u"CEMAPI.DLL"), 0U);
  EXPECT_EQ(kernel.GetLastError(), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(kernel.GetProcAddressW(module, u"MAPILogonEx"), nullptr);
  EXPECT_EQ(kernel.GetLastError(), ERROR_INVALID_HANDLE);
  EXPECT_EQ(kernel.FreeLibrary(module), TRUE);
}

TEST_F(MapiTest, TheStoreNamesItsFiveFoldersAndReportsMissingTags) {
  SPropTagArray tags = {};
  tags.cValues = 3;
  tags.aulPropTag[0] = PR_CE_IPM_INBOX_ENTRYID;
  tags.aulPropTag[1] = PR_SUBJECT;
  tags.aulPropTag[2] = PR_IPM_OUTBOX_ENTRYID;
  ULONG count = 0xBDBDBDBD;
  SPropValue* values = nullptr;
  EXPECT_EQ(store_->GetProps(&tags, MAPI_UNICODE, &count, &values),
            MAPI_W_ERRORS_RETURNED);
  ASSERT_EQ(count, 3U);
  EXPECT_EQ(values[0].ulPropTag, PR_CE_IPM_INBOX_ENTRYID);
  EXPECT_EQ(values[0].Value.bin.cb, 16U);
  EXPECT_EQ(values[1].ulPropTag, PROP_TAG(PT_ERROR, PROP_ID(PR_SUBJECT)));
  EXPECT_EQ(values[1].Value.err, MAPI_E_NOT_FOUND);
  EXPECT_EQ(std::memcmp(values[0].Value.bin.lpb + 8, "VornMAPI", 8), 0);
  EXPECT_NE(std::memcmp(values[0].Value.bin.lpb, values[2].Value.bin.lpb, 16),
            0);
  EXPECT_EQ(free_(values), 0U);
  EXPECT_NE(free_(values), 0U);  // not twice
}

TEST_F(MapiTest, AMessageIsStoredOnSaveAndEveryChangeIsLogged) {
  IMAPIFolder* inbox = Folder(PR_CE_IPM_INBOX_ENTRYID);
  IMessage* message = nullptr;
  ASSERT_EQ(inbox->CreateMessage(nullptr, 0, &message), S_OK);
  WCHAR subject[] = u"Hello";
  SPropValue values[2] = {};
  values[0].ulPropTag = PR_SUBJECT;
  values[0].Value.lpszW = subject;
  ASSERT_EQ(message->SetProps(2, values, nullptr), S_OK);
  ULONG count = 0;
  SPropValue* id = nullptr;
  SPropTagArray tags = {};
  tags.cValues = 1;
  tags.aulPropTag[0] = PR_ENTRYID;
  ASSERT_EQ(message->GetProps(&tags, 0, &count, &id), S_OK);
  BYTE entry[16];
  std::memcpy(entry, id[0].Value.bin.lpb, 16);
  free_(id);
  DWORD key = entry[4] | (entry[5] << 8) | (entry[6] << 16) |
              (static_cast<DWORD>(entry[7]) << 24);
  EXPECT_FALSE(device_->mapi().store().LoadMessage(key));
  ASSERT_EQ(message->SaveChanges(0), S_OK);
  auto stored = device_->mapi().store().LoadMessage(key);
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->folder, MailFolder::kInbox);
  ASSERT_EQ(message->SaveChanges(0), S_OK);

  SBinary binary = {16, entry};
  ENTRYLIST list = {1, &binary};
  EXPECT_EQ(
      Folder(PR_IPM_SENTMAIL_ENTRYID)->DeleteMessages(&list, 0, nullptr, 0),
      S_OK);
  EXPECT_FALSE(device_->mapi().store().LoadMessage(key));
  auto log = device_->changeLog().List(protocol::kMailLog);
  ASSERT_EQ(log.size(), 1U);  // the latest change only
  EXPECT_EQ(log[0].oid, key);
  EXPECT_EQ(log[0].kind, 3);
  EXPECT_EQ(log[0].sequence, 3U);
}

TEST_F(MapiTest, StreamsReadSeekAndStartEmptyUnderMapiCreate) {
  NewMail mail;
  mail.body = u"abc";
  DWORD key = MailEditor(device_->mapi()).Add(mail).value();
  BYTE entry[16];
  MailStore::MakeEntryId(key, entry);
  IUnknown* opened = nullptr;
  ULONG type = 0;
  ASSERT_EQ(store_->OpenEntry(16, entry, nullptr, MAPI_MODIFY, &type, &opened),
            S_OK);
  auto* message = platform::MapiAs<IMessage>(opened);
  IUnknown* body = nullptr;
  ASSERT_EQ(message->OpenProperty(PR_BODY, nullptr, 0, 0, &body), S_OK);
  auto* stream = platform::MapiAs<IStream>(body);
  STATSTG stat = {};
  ASSERT_EQ(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(stat.cbSize.QuadPart, 8U);  // "abc" and its NUL
  BYTE buffer[12];
  std::memset(buffer, kSentinel, sizeof buffer);
  ULONG read = 0;
  LARGE_INTEGER two = {2};
  ASSERT_EQ(stream->Seek(two, STREAM_SEEK_SET, nullptr), S_OK);
  ASSERT_EQ(stream->Read(buffer, 12, &read), S_OK);
  EXPECT_EQ(read, 6U);
  EXPECT_EQ(buffer[0], 'b');
  EXPECT_EQ(buffer[6], kSentinel);
  EXPECT_NE(stream->Write(buffer, 1, &read), S_OK);  // opened to read

  IUnknown* fresh = nullptr;
  ASSERT_EQ(message->OpenProperty(PR_BODY, nullptr, 0,
                                  MAPI_CREATE | MAPI_MODIFY, &fresh),
            S_OK);
  ASSERT_EQ(platform::MapiAs<IStream>(fresh)->Stat(&stat, STATFLAG_NONAME),
            S_OK);
  EXPECT_EQ(stat.cbSize.QuadPart, 0U);
  EXPECT_EQ(platform::MapiAs<IStream>(fresh)->Stat(&stat, 0), E_NOTIMPL);
}

TEST_F(MapiTest, NamesAreCreatedOnlyWhenAskedTo) {
  WCHAR name[] = u"PR_SPLUS_WHERE";
  GUID set = PS_PUBLIC_STRINGS;
  MAPINAMEID id = {};
  id.lpguid = &set;
  id.ulKind = MNID_STRING;
  id.Kind.lpwstrName = name;
  MAPINAMEID* ids[1] = {&id};
  SPropTagArray* tags = nullptr;
  EXPECT_EQ(store_->GetIDsFromNames(1, ids, 0, &tags), MAPI_W_ERRORS_RETURNED);
  ASSERT_NE(tags, nullptr);
  EXPECT_EQ(tags->aulPropTag[0], PT_ERROR);
  free_(tags);
  EXPECT_EQ(store_->GetIDsFromNames(1, ids, MAPI_CREATE, &tags), S_OK);
  EXPECT_EQ(tags->aulPropTag[0], 0x80000000U);
  free_(tags);
  EXPECT_EQ(store_->GetIDsFromNames(1, ids, 0, &tags), S_OK);
  EXPECT_EQ(tags->aulPropTag[0], 0x80000000U);
  free_(tags);
}

TEST_F(MapiTest, ABusyTableTimesOutAsOftenAsTheFaultSays) {
  ASSERT_TRUE(device_->faults().Set("mapi-busy", "outbox 2").ok());
  IMAPITable* inbox = nullptr;
  IMAPITable* outbox = nullptr;
  ASSERT_EQ(Folder(PR_CE_IPM_INBOX_ENTRYID)->GetContentsTable(1, &inbox), S_OK);
  ASSERT_EQ(Folder(PR_IPM_OUTBOX_ENTRYID)->GetContentsTable(0, &outbox), S_OK);
  EXPECT_EQ(inbox->WaitForCompletion(0, 2000, nullptr), S_OK);
  EXPECT_EQ(outbox->WaitForCompletion(0, 2000, nullptr), MAPI_E_TIMEOUT);
  EXPECT_EQ(device_->faults().Value("mapi-busy"), "outbox 1");
  EXPECT_EQ(outbox->WaitForCompletion(0, 2000, nullptr), MAPI_E_TIMEOUT);
  EXPECT_EQ(outbox->WaitForCompletion(0, 2000, nullptr), S_OK);
  EXPECT_FALSE(device_->faults().IsSet("mapi-busy"));
}

}  // namespace
}  // namespace device
