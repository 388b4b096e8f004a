#include "device/richink/rich_ink.h"

#include <algorithm>
#include <cstring>

#include "device/richink/pwi_reader.h"
#include "device/richink/pwi_writer.h"

namespace device {
namespace {

constexpr WPARAM kPwiFormat = SF_PWI | SF_RTF;
constexpr WPARAM kUnicodeText = SF_TEXT | SF_UNICODE;

bool IsRichInkClass(LPCWSTR name) {
  static constexpr std::u16string_view kClass = u"RichInk";
  if (name == nullptr) return false;
  std::size_t i = 0;
  for (; i < kClass.size(); ++i) {
    char16_t c = name[i];
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
    char16_t k = kClass[i];
    if (k >= u'a' && k <= u'z') k = static_cast<char16_t>(k - u'a' + u'A');
    if (c != k) return false;
  }
  return name[i] == 0;
}

std::u16string UnicodeText(const std::vector<std::uint8_t>& bytes) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    auto c = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
    if (c == 0) break;
    text.push_back(c);
  }
  return text;
}

std::size_t CharacterCount(const std::vector<std::u16string>& paragraphs) {
  std::size_t count = paragraphs.size() - 1;
  for (const std::u16string& p : paragraphs) count += p.size();
  return count;
}

}  // namespace

LRESULT RichInk::Fail(DWORD error) {
  context_.lastError = error;
  return 0;
}

void RichInk::InitRichInkDLL() { registered_ = true; }

HWND RichInk::CreateWindowExW(DWORD /*exStyle*/, LPCWSTR className,
                              LPCWSTR /*windowName*/, DWORD /*style*/,
                              int /*x*/, int /*y*/, int /*width*/,
                              int /*height*/, HWND /*parent*/, HMENU /*menu*/,
                              HINSTANCE /*instance*/, void* /*param*/) {
  if (!registered_ || !IsRichInkClass(className)) {
    return static_cast<HWND>(Fail(ERROR_CANNOT_FIND_WND_CLASS));
  }
  HWND window = next_;
  next_ += 4;
  windows_[window] = Window();
  return window;
}

BOOL RichInk::DestroyWindow(HWND window) {
  if (windows_.erase(window) == 0) {
    return static_cast<BOOL>(Fail(ERROR_INVALID_WINDOW_HANDLE));
  }
  return TRUE;
}

LRESULT RichInk::SendMessageW(HWND window, UINT message, WPARAM wParam,
                              LPARAM lParam) {
  auto found = windows_.find(window);
  if (found == windows_.end()) return Fail(ERROR_INVALID_WINDOW_HANDLE);
  auto* stream = reinterpret_cast<EDITSTREAM*>(lParam);
  bool known = wParam == kPwiFormat || wParam == kUnicodeText;
  if ((message != EM_STREAMIN && message != EM_STREAMOUT) || !known) {
    return Fail(ERROR_CALL_NOT_IMPLEMENTED);
  }
  if (stream == nullptr || stream->pfnCallback == nullptr) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  return message == EM_STREAMIN ? StreamIn(found->second, wParam, stream)
                                : StreamOut(found->second, wParam, stream);
}

LRESULT RichInk::StreamIn(Window& window, WPARAM format, EDITSTREAM* stream) {
  std::vector<std::uint8_t> bytes;
  std::uint8_t chunk[kChunkSize];
  stream->dwError = 0;
  while (bytes.size() < kPwiMaxFileSize) {
    std::memset(chunk, 0, sizeof(chunk));
    LONG done = 0;
    DWORD error =
        stream->pfnCallback(stream->dwCookie, chunk, kChunkSize, &done);
    if (error != 0) {
      stream->dwError = error;
      break;
    }
    if (done <= 0) break;
    bytes.insert(bytes.end(), chunk, chunk + std::min(done, kChunkSize));
  }
  if (format == kUnicodeText) {
    window.paragraphs = SplitParagraphs(UnicodeText(bytes));
  } else {
    std::optional<std::vector<std::u16string>> read = ReadPwiParagraphs(bytes);
    if (!read) return 0;
    window.paragraphs = std::move(*read);
    if (window.paragraphs.empty()) window.paragraphs.emplace_back();
  }
  return static_cast<LRESULT>(CharacterCount(window.paragraphs));
}

LRESULT RichInk::StreamOut(const Window& window, WPARAM format,
                           EDITSTREAM* stream) {
  std::vector<std::uint8_t> bytes;
  if (format == kUnicodeText) {
    for (std::size_t p = 0; p < window.paragraphs.size(); ++p) {
      if (p > 0) bytes.insert(bytes.end(), {'\r', 0, '\n', 0});
      for (char16_t c : window.paragraphs[p]) {
        bytes.push_back(static_cast<std::uint8_t>(c));
        bytes.push_back(static_cast<std::uint8_t>(c >> 8));
      }
    }
  } else {
    bytes = WritePwi(window.paragraphs);
  }
  stream->dwError = 0;
  std::size_t at = 0;
  std::uint8_t chunk[kChunkSize];
  while (at < bytes.size()) {
    auto size =
        static_cast<LONG>(std::min<std::size_t>(kChunkSize, bytes.size() - at));
    std::memcpy(chunk, bytes.data() + at, static_cast<std::size_t>(size));
    LONG done = 0;
    DWORD error = stream->pfnCallback(stream->dwCookie, chunk, size, &done);
    if (error != 0) {
      stream->dwError = error;
      break;
    }
    if (done < size) break;
    at += static_cast<std::size_t>(size);
  }
  if (format == kUnicodeText) {
    return static_cast<LRESULT>(std::min(at, bytes.size()) / 2);
  }
  return static_cast<LRESULT>(at);
}

}  // namespace device
