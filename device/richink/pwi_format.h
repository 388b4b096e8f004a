// Record types, header bytes and inline codes of the note file container,
// shared by its reader and writer. docs/emulation.md describes the layout.
#ifndef VORN_DEVICE_RICHINK_PWI_FORMAT_H_
#define VORN_DEVICE_RICHINK_PWI_FORMAT_H_

#include <cstddef>
#include <cstdint>

namespace device::pwi {

// "{\pwi", three unknown bytes, 01 01, the version (6), two zero bytes.
inline constexpr std::uint8_t kHeader[14] = {0x7B, 0x5C, 0x70, 0x77, 0x69,
                                             0x15, 0x00, 0x00, 0x01, 0x01,
                                             0x06, 0x00, 0x00, 0x00};
inline constexpr std::size_t kHeaderSize = sizeof(kHeader);
inline constexpr std::size_t kMagicSize = 5;
// Every record: u16 type, u16 id, u16 payload length in 4-byte words.
inline constexpr std::size_t kRecordHeaderSize = 6;

// Record types.
inline constexpr std::uint16_t kFontTable = 0x00;
inline constexpr std::uint16_t kPageSetup = 0x07;
inline constexpr std::uint16_t kZone8 = 0x08;
inline constexpr std::uint16_t kZone20 = 0x14;
inline constexpr std::uint16_t kZone21 = 0x15;
inline constexpr std::uint16_t kParagraphList = 0x40;
inline constexpr std::uint16_t kParagraph = 0x41;
inline constexpr std::uint16_t kLineLayout = 0x42;
// Raw object data: its length counts bytes, the id holds the high 16 bits.
inline constexpr std::uint16_t kObjectData = 0x55;
inline constexpr std::uint16_t kEnd = 0x82;

// The paragraph record's fixed part before its coded text.
inline constexpr std::size_t kParagraphHeaderSize = 24;
// The paragraph list's fixed part before its 8-byte entries.
inline constexpr std::size_t kListPrefixSize = 24;
inline constexpr std::size_t kListEntrySize = 8;

// Inline codes of paragraph text.
inline constexpr std::uint8_t kWestern = 0xC1;    // + 1 byte: Windows-1252
inline constexpr std::uint8_t kControl = 0xC4;    // + 1 byte: sub-code
inline constexpr std::uint8_t kEndOfText = 0x00;  // C4 00
inline constexpr std::uint8_t kTab = 0x04;        // C4 04
inline constexpr std::uint8_t kFont = 0xE5;       // + u16 font id
inline constexpr std::uint8_t kSize = 0xE6;       // + u16 points

}  // namespace device::pwi

#endif  // VORN_DEVICE_RICHINK_PWI_FORMAT_H_
