// Time records (16 bytes, the layout of SYSTEMTIME) inside the recurrence
// block and the exception records.
#ifndef VORN_AGENT_PIM_TIME_RECORD_H_
#define VORN_AGENT_PIM_TIME_RECORD_H_

#include <cstddef>

#include "agent/session/reply_writer.h"
#include "platform/types.h"
#include "protocol/wire.h"

namespace agent {

inline void PutTimeRecord(BYTE* at, const SYSTEMTIME& time) {
  DWORD words[4];
  TimeToWords(time, words);
  for (std::size_t i = 0; i < 4; ++i) protocol::PutU32(at + 4 * i, words[i]);
}

inline SYSTEMTIME GetTimeRecord(const BYTE* at) {
  SYSTEMTIME time = {};
  WORD* fields[8] = {&time.wYear,   &time.wMonth,       &time.wDayOfWeek,
                     &time.wDay,    &time.wHour,        &time.wMinute,
                     &time.wSecond, &time.wMilliseconds};
  for (std::size_t i = 0; i < 8; ++i) {
    *fields[i] = protocol::GetU16(at + 2 * i);
  }
  return time;
}

}  // namespace agent

#endif  // VORN_AGENT_PIM_TIME_RECORD_H_
