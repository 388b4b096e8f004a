// Layout of the handheld's change logs and of the agent's contracts
// database, shared by the agent (which reads the logs and owns the
// contracts) and the handheld's change-log writer.
//
// A change log is a record database per data type, sorted newest first on
// the sequence property. Each entry: the changed record's object id, the
// sequence number of the change, and the change kind (1 added, 2 changed,
// 3 deleted). The current sequence of a log is a REG_DWORD under
// HKLM "SOFTWARE\Orvanet" whose value name is the log's name itself.
#ifndef VORN_PROTOCOL_CHANGE_LOG_H_
#define VORN_PROTOCOL_CHANGE_LOG_H_

#include <cstdint>

namespace protocol {

inline constexpr char16_t kOrvanetKey[] = u"SOFTWARE\\Orvanet";
inline constexpr char16_t kMachineIdValue[] = u"MachineID";

inline constexpr char16_t kContactLog[] = u"\\VornContactLog";
inline constexpr char16_t kAppointmentLog[] = u"\\VornAppointmentLog";
inline constexpr char16_t kTaskLog[] = u"\\VornTaskLog";
inline constexpr char16_t kMailLog[] = u"\\VornMailLog";

inline constexpr std::uint32_t kLogEntryOid = 0x12010003;
inline constexpr std::uint32_t kLogEntrySequence = 0x12020003;
inline constexpr std::uint32_t kLogEntryKind = 0x12030003;

inline constexpr char16_t kContractsDatabase[] = u"\\VornContracts";
inline constexpr std::uint32_t kContractsDatabaseType = 0x30B5;
inline constexpr std::uint32_t kContractName = 0x1205001F;
inline constexpr std::uint32_t kContractDataType = 0x12040003;
inline constexpr std::uint32_t kContractMark = 0x12020003;

}  // namespace protocol

#endif  // VORN_PROTOCOL_CHANGE_LOG_H_
