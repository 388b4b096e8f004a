// The handheld's remote API as far as desktops use it to start the agent:
// the password step and the two invoke requests. Both ends build and read
// these bytes themselves; docs/remote-api.md draws every layout with hex
// examples.
//
// Password step (TCP connections to a handheld that has a password only):
//   desktop: u16 byte count N, then N bytes: the password in UTF-16LE with
//            its terminating NUL, every byte XORed with the connection's key
//   handheld: one byte, 1 accepted, 0 refused (and the connection closes)
//
// Request: u32 length L, then L packet bytes whose first u32 is the command.
// Invoke (kInvoke 0x45): u32 command, DLL name, function name (each a u32
// present flag, then when present a u32 length in UTF-16 units with the
// NUL and the UTF-16LE text), u32 input size, the input bytes, u32 stream
// flag. kInvokeCounted (0x4c) is alike but sends each name as a u32 byte
// count with the NUL, then the UTF-16LE text.
//
// Answers in stream mode: 0x45 four raw bytes, the u32 last error; 0x4c one
// packet (u32 length, body) whose body is the u32 last error. On success the
// connection is the stream of the call from then on.
// Answers in buffer mode: 0x45 a packet {u32 0, u32 last error, u32 HRESULT,
// u32 output size, output} followed by an empty packet (u32 0); 0x4c a
// packet {u32 last error, u32 HRESULT, u32 output size, output}.
#ifndef VORN_PROTOCOL_RAPI_H_
#define VORN_PROTOCOL_RAPI_H_

#include <cstdint>

namespace protocol {

inline constexpr std::uint32_t kRapiInvoke = 0x45;
inline constexpr std::uint32_t kRapiInvokeCounted = 0x4c;

// Where the handheld's remote API listens by default.
inline constexpr std::uint16_t kRapiDefaultPort = 990;

// The key byte of the password step unless the connection sets another.
inline constexpr std::uint8_t kRapiDefaultPasswordKey = 0xA5;

// Answers of the password step.
inline constexpr std::uint8_t kRapiPasswordAccepted = 1;
inline constexpr std::uint8_t kRapiPasswordRefused = 0;

// The largest request packet a handheld takes; a longer one ends the
// connection.
inline constexpr std::uint32_t kRapiMaxPacket = 16u << 20;

// The agent as the remote API names it.
inline constexpr char16_t kAgentModule[] = u"VORNAPIMGR";
inline constexpr char16_t kAgentExport[] = u"rsCeApiMgr";

// Last errors of a refused invoke (the platform's codes).
inline constexpr std::uint32_t kRapiModuleNotFound =
    126;                                                 // ERROR_MOD_NOT_FOUND
inline constexpr std::uint32_t kRapiProcNotFound = 127;  // ERROR_PROC_NOT_FOUND
inline constexpr std::uint32_t kRapiBusy = 170;          // ERROR_BUSY

}  // namespace protocol

#endif  // VORN_PROTOCOL_RAPI_H_
