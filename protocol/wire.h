// Wire constants and layouts shared by the handheld's agent and the desktop.
//
// Request frame: u32 packet length L, then L packet bytes. Packet byte 0 is
// the command, byte 1 the data type, the command's arguments follow.
// Reply frame: u32 reply length R, then R reply bytes.
// All integers are little-endian and unaligned; text is UTF-16LE, sent as a
// u32 byte count that includes the terminating NUL, then the bytes.
#ifndef VORN_PROTOCOL_WIRE_H_
#define VORN_PROTOCOL_WIRE_H_

#include <cstddef>
#include <cstdint>

namespace protocol {

enum class Command : std::uint8_t {
  kEndSession = 1,
  kAddRecord = 2,
  kUpdateRecord = 3,
  kDeleteRecord = 4,
  kDeleteAllRecords = 5,
  kGetRecordCount = 6,
  kGetRecord = 7,
  kAddContract = 8,
  kDeleteContract = 9,
  kFindContract = 10,
  kGetChangedRecords = 11,
  kUpdateContract = 12,
  kGetAllRecords = 13,
  kGetMachineId = 14,
  kBatchWrite = 15,
  kGetRecords = 16,
  kDeleteRecords = 17,
  kWriteFileData = 18,
  kReadFileData = 19,
  kCheckOsVersion = 20,
};

enum class DataType : std::uint8_t {
  kContacts = 1,
  kAppointments = 2,
  kTasks = 3,
  kMail = 4,
  kInkNotes = 5,
};

// The session's reply buffer and the soft limit of the string writers: a
// string is written only when its text would end at or before kSoftLimit.
inline constexpr std::size_t kReplyBufferSize = 0x36000;  // 221184
inline constexpr std::size_t kSoftLimit = 110592;         // half the buffer

// The largest piece the desktop asks for in one ReadFileData: the reply
// buffer less the ten bytes before the data (ok, 0, u32 error, u32 count).
inline constexpr std::uint32_t kMaxFileReadPiece = 221174;

// Status pairs.
inline constexpr std::uint8_t kStatusOk[2] = {1, 0};
inline constexpr std::uint8_t kStatusFailed[2] = {0, 3};
inline constexpr std::uint8_t kContractFailed[2] = {0, 1};

// List header, 7 bytes, at the start of list replies:
//   0  u8  complete (1 when the operation reached its end)
//   1  u8  failed (1 when change-tracking data could not be used)
//   2  u32 count of list entries that follow
//   6  u8  property records written so far
inline constexpr std::size_t kListHeaderSize = 7;

// Write status, 10 bytes, one per written record:
//   0  u8  ok (1 when the record was written)
//   1  u8  code (3: the item could not be created or fetched)
//   2  u32 the handheld's object id of the record
//   6  u32 the id sent in the request, echoed
inline constexpr std::size_t kWriteStatusSize = 10;
inline constexpr std::uint8_t kCodeNoItem = 3;

// Change entry of GetChangedRecords: u32 object id, u8 change kind.
inline constexpr std::size_t kChangeEntrySize = 5;
enum class ChangeKind : std::uint8_t { kAdded = 1, kChanged = 2, kDeleted = 3 };

// GetMachineId's reply starts with this u32 before the counted string.
inline constexpr std::uint32_t kMachineIdTag = 0x3C;

// Size of a time record (the layout of SYSTEMTIME) and of a recurrence block.
inline constexpr std::size_t kTimeRecordSize = 16;
inline constexpr std::size_t kRecurrenceBlockSize = 98;

// Little-endian moves over byte arrays; never a pointer cast.
inline void PutU16(std::uint8_t* at, std::uint16_t value) {
  at[0] = static_cast<std::uint8_t>(value);
  at[1] = static_cast<std::uint8_t>(value >> 8);
}
inline void PutU32(std::uint8_t* at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i)
    at[i] = static_cast<std::uint8_t>(value >> (8 * i));
}
inline std::uint16_t GetU16(const std::uint8_t* at) {
  return static_cast<std::uint16_t>(at[0] | (at[1] << 8));
}
inline std::uint32_t GetU32(const std::uint8_t* at) {
  return std::uint32_t{at[0]} | (std::uint32_t{at[1]} << 8) |
         (std::uint32_t{at[2]} << 16) | (std::uint32_t{at[3]} << 24);
}

}  // namespace protocol

#endif  // VORN_PROTOCOL_WIRE_H_
