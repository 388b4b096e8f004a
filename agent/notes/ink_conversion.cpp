#include "agent/notes/ink_conversion.h"

#include <cstring>

#include "agent/handler/message_box.h"
#include "agent/session/allocation.h"
#include "platform/fault.h"

namespace agent {
namespace {

constexpr DWORD kConversionWindowStyle = 0x800;

// Text streamed in from memory.
struct MemoryCookie {
  const BYTE* start;
  DWORD position;
  DWORD length;  // bytes, the terminating NUL included
};

// Text streamed out into a growing buffer: the first pass only counts.
struct BufferCookie {
  BYTE* buffer;
  DWORD position;
  DWORD count;  // the size so far in the first pass, the capacity after
};

struct FileCookie {
  HANDLE file;
  DWORD error;
};

DWORD ReadFromFile(DWORD_PTR cookie, LPBYTE buffer, LONG count, LONG* done) {
  auto* file = reinterpret_cast<FileCookie*>(cookie);
  DWORD read = 0;
  if (ReadFile(file->file, buffer, static_cast<DWORD>(count), &read, nullptr) ==
      FALSE) {
    file->error = GetLastError();
    MessageBoxW(0, u"RFCB failed", u"CCEInkNote", MB_SETFOREGROUND);
    *done = 0;
    return file->error;
  }
  *done = static_cast<LONG>(read);
  return 0;
}

DWORD WriteToFile(DWORD_PTR cookie, LPBYTE buffer, LONG count, LONG* done) {
  auto* file = reinterpret_cast<FileCookie*>(cookie);
  if (file->file == INVALID_HANDLE_VALUE) {
    *done = count;
    return 0;
  }
  DWORD written = 0;
  if (WriteFile(file->file, buffer, static_cast<DWORD>(count), &written,
                nullptr) == FALSE) {
    file->error = GetLastError();
    *done = static_cast<LONG>(written);
    return file->error;
  }
  *done = static_cast<LONG>(written);
  return 0;
}

DWORD ReadFromMemory(DWORD_PTR cookie, LPBYTE buffer, LONG count, LONG* done) {
  auto* memory = reinterpret_cast<MemoryCookie*>(cookie);
  DWORD remaining = memory->length - memory->position;
  DWORD size = count < 0 ? 0 : static_cast<DWORD>(count);
  if (remaining < size) size = remaining;
  std::memcpy(buffer, memory->start + memory->position, size);
  memory->position += size;
  *done = static_cast<LONG>(size);
  return 0;
}

DWORD CountText(DWORD_PTR cookie, LPBYTE /*buffer*/, LONG count, LONG* done) {
  auto* out = reinterpret_cast<BufferCookie*>(cookie);
  out->count += static_cast<DWORD>(count);
  *done = count;
  return 0;
}

DWORD CopyText(DWORD_PTR cookie, LPBYTE buffer, LONG count, LONG* done) {
  auto* out = reinterpret_cast<BufferCookie*>(cookie);
  DWORD size = static_cast<DWORD>(count);
  if (out->count - out->position < size) size = out->count - out->position;
  std::memcpy(out->buffer + out->position, buffer, size);
  out->position += size;
  // The buffer has two bytes beyond the capacity for the terminator.
  if (out->position == out->count) {
    out->buffer[out->position] = 0;
    out->buffer[out->position + 1] = 0;
  }
  *done = count;
  return 0;
}

}  // namespace

HWND CreateConversionWindow() {
  return CreateWindowExW(0, u"RichInk", nullptr, kConversionWindowStyle,
                         CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT,
                         CW_USEDEFAULT, 0, 0, 0, nullptr);
}

void DestroyConversionWindow(HWND window) { DestroyWindow(window); }

OwnedString NoteTextFromFile(HWND window, HANDLE file) {
  FileCookie in = {file, 0};
  EDITSTREAM stream = {reinterpret_cast<DWORD_PTR>(&in), 0, &ReadFromFile};
  SendMessageW(window, EM_STREAMIN, kInkFileFormat,
               reinterpret_cast<LPARAM>(&stream));

  BufferCookie measure = {nullptr, 0, 0};
  stream = {reinterpret_cast<DWORD_PTR>(&measure), 0, &CountText};
  SendMessageW(window, EM_STREAMOUT, kUnicodeTextFormat,
               reinterpret_cast<LPARAM>(&stream));

  DWORD count = measure.count;
  if (count > kMaxAllocation) {
    throw platform::Fault("note text of " + std::to_string(count) +
                          " bytes cannot be held");
  }
  Buffer buffer = AllocateBuffer(count + 2);
  BufferCookie copy = {buffer.get(), 0, count};
  stream = {reinterpret_cast<DWORD_PTR>(&copy), 0, &CopyText};
  SendMessageW(window, EM_STREAMOUT, kUnicodeTextFormat,
               reinterpret_cast<LPARAM>(&stream));

  // The result has room for count + 2 characters; the bytes copied are the
  // text and its terminator, the rest stays zero.
  OwnedString text(new WCHAR[count + 2]());
  for (DWORD i = 0; i + 1 < count + 2; i += 2) {
    text[i / 2] = static_cast<WCHAR>(buffer[i] | (buffer[i + 1] << 8));
  }
  return text;
}

int NoteFileFromText(HWND window, LPCWSTR text, LPCWSTR path) {
  if (text == nullptr) throw platform::Fault("note text of no text");
  DWORD length = static_cast<DWORD>((wcslen(text) + 1) * 2);
  Buffer bytes = AllocateBuffer(length);
  for (std::size_t i = 0; i < length / 2; ++i) {
    bytes[2 * i] = static_cast<BYTE>(text[i]);
    bytes[2 * i + 1] = static_cast<BYTE>(text[i] >> 8);
  }
  MemoryCookie memory = {bytes.get(), 0, length};
  EDITSTREAM stream = {reinterpret_cast<DWORD_PTR>(&memory), 0,
                       &ReadFromMemory};
  SendMessageW(window, EM_STREAMIN, kUnicodeTextFormat,
               reinterpret_cast<LPARAM>(&stream));

  HANDLE file = CreateFileW(path, GENERIC_READ | GENERIC_WRITE,
                            FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                            CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, 0);
  FileCookie out = {file, 0};
  stream = {reinterpret_cast<DWORD_PTR>(&out), 0, &WriteToFile};
  SendMessageW(window, EM_STREAMOUT, kInkFileFormat,
               reinterpret_cast<LPARAM>(&stream));
  CloseHandle(file);
  return 1;
}

}  // namespace agent
