#include "desktop/formats/record_uid.h"

#include <gtest/gtest.h>

namespace desktop {
namespace {

TEST(RecordUid, IsTheVersion5UuidOfMachineTypeAndOid) {
  // Worked out independently (Python's uuid.uuid5 over the same name).
  EXPECT_EQ(
      RecordUid::For(u"PPC-1234", protocol::DataType::kAppointments, 4660),
      "urn:uuid:d57e0a6e-9fd3-5474-b0b7-6d54d0bdd44b");
}

TEST(RecordUid, KnownNameBasedUuid) {
  // RFC 4122's DNS namespace and "python.org", a widely published value.
  EXPECT_EQ(RecordUid::NameBased("6ba7b810-9dad-11d1-80b4-00c04fd430c8",
                                 "python.org"),
            "886313e1-3b8a-5372-9b90-0c9aee199e5d");
}

TEST(RecordUid, DiffersByMachineTypeAndOidAndIsStable) {
  const std::string a =
      RecordUid::For(u"M", protocol::DataType::kAppointments, 1);
  EXPECT_EQ(a, RecordUid::For(u"M", protocol::DataType::kAppointments, 1));
  EXPECT_NE(a, RecordUid::For(u"N", protocol::DataType::kAppointments, 1));
  EXPECT_NE(a, RecordUid::For(u"M", protocol::DataType::kTasks, 1));
  EXPECT_NE(a, RecordUid::For(u"M", protocol::DataType::kAppointments, 2));
  ASSERT_EQ(a.size(), 9u + 36u);
  EXPECT_EQ(a.substr(0, 9), "urn:uuid:");
  EXPECT_EQ(a[9 + 14], '5');  // version
  EXPECT_NE(std::string("89ab").find(a[9 + 19]), std::string::npos);
}

}  // namespace
}  // namespace desktop
