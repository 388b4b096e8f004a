#include "agent/session/session_loop.h"

#include <array>

#include "agent/session/allocation.h"
#include "agent/session/handler_factory.h"
#include "platform/fault.h"
#include "protocol/wire.h"

namespace agent {
namespace {

using Operation = int (CCERecordHandler::*)();

// The operation of each command; commands without one run nothing.
constexpr std::array<Operation, 21> kCommandTable = {
    nullptr,                               // 0
    nullptr,                               // 1 end of session
    &CCERecordHandler::AddRecord,          // 2
    &CCERecordHandler::UpdateRecord,       // 3
    &CCERecordHandler::DeleteRecord,       // 4
    &CCERecordHandler::DeleteAllRecords,   // 5
    &CCERecordHandler::GetRecordCount,     // 6
    &CCERecordHandler::GetRecord,          // 7
    &CCERecordHandler::AddContract,        // 8
    &CCERecordHandler::DeleteContract,     // 9
    &CCERecordHandler::FindContract,       // 10
    &CCERecordHandler::GetChangedRecords,  // 11
    &CCERecordHandler::UpdateContract,     // 12
    &CCERecordHandler::GetAllRecords,      // 13
    &CCERecordHandler::GetMachineId,       // 14
    &CCERecordHandler::BatchWrite,         // 15
    &CCERecordHandler::GetRecords,         // 16
    &CCERecordHandler::DeleteRecords,      // 17
    &CCERecordHandler::WriteFileData,      // 18
    &CCERecordHandler::ReadFileData,       // 19
    &CCERecordHandler::CheckOsVersion,     // 20
};

BYTE PacketByte(const BYTE* packet, DWORD length, DWORD index) {
  if (index >= length) {
    throw platform::Fault("packet shorter than its command and data type");
  }
  return packet[index];
}

}  // namespace

void ServePacket(CeApiMgr& session, IRAPIStream* stream, const BYTE* packet,
                 DWORD length) {
  std::unique_ptr<CCERecordHandler> handler =
      CreateHandler(PacketByte(packet, length, 1));
  if (handler == nullptr) {
    // The handheld stores the handler's fields through a null pointer here.
    throw platform::Fault("packet of an unknown data type");
  }
  handler->stream = stream;
  handler->app = session.app;
  handler->reply = session.replyBuffer.get();
  std::fill(std::begin(handler->header), std::end(handler->header), 0);
  handler->request = RequestPtr(packet + 1, packet + length);

  BYTE command = PacketByte(packet, length, 0);
  if (command < kCommandTable.size() && kCommandTable[command] != nullptr) {
    (handler.get()->*kCommandTable[command])();
  }

  DWORD replyLength = handler->replyLength;
  if (replyLength > protocol::kReplyBufferSize) {
    throw platform::Fault("reply longer than the reply buffer");
  }
  BYTE frame[4];
  protocol::PutU32(frame, replyLength);
  ULONG done = 0;
  stream->Write(frame, sizeof(frame), &done);
  stream->Write(session.replyBuffer.get(), replyLength, &done);
}

void RunSessionLoop(CeApiMgr& session, IRAPIStream* stream) {
  bool ended = false;
  while (!ended) {
    BYTE frame[4] = {};
    ULONG done = 0;
    stream->Read(frame, sizeof(frame), &done);
    DWORD length = protocol::GetU32(frame);
    Buffer packet = AllocateBuffer(length);
    stream->Read(packet.get(), length, &done);
    ServePacket(session, stream, packet.get(), length);
    ended = packet[0] == static_cast<BYTE>(protocol::Command::kEndSession);
  }
}

}  // namespace agent
