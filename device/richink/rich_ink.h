// The handheld's rich ink control, as far as the agent uses it: a hidden
// window of class "RichInk" (registered by InitRichInkDLL) that takes a note
// file or Unicode text in through EM_STREAMIN and gives it out again through
// EM_STREAMOUT, each time through the caller's EDITSTREAM callback in chunks
// of kChunkSize bytes.
//
// The control holds paragraphs of plain text. Stream formats:
//   SF_PWI | SF_RTF (the note file container, pwi_reader.h / pwi_writer.h):
//     in: the whole stream is read, then its paragraphs replace the content;
//     a stream that is no note file leaves the content as it was and the
//     message returns 0. out: a note file of the content.
//   SF_TEXT | SF_UNICODE: UTF-16LE text; in, it ends at the first NUL and
//     CR LF, LF and CR separate paragraphs; out, paragraphs are separated by
//     CR LF and no NUL is written.
// Not emulated (0 and ERROR_CALL_NOT_IMPLEMENTED): other formats (ANSI
// text, rich text), selection streams (SFF_SELECTION) and every other
// message. Windows of other classes cannot be created
// (ERROR_CANNOT_FIND_WND_CLASS).
//
// Stream in ends when the callback returns non-zero (stored in dwError),
// gives no bytes, or the stream passes kPwiMaxFileSize; what was read until
// then is used. Stream out ends when the callback returns non-zero (stored
// in dwError) or takes fewer bytes than offered.
//
// Windows live until DestroyWindow or the end of the conversation.
#ifndef VORN_DEVICE_RICHINK_RICH_INK_H_
#define VORN_DEVICE_RICHINK_RICH_INK_H_

#include <map>
#include <string>
#include <vector>

#include "device/image/device_context.h"
#include "platform/services.h"

namespace device {

class RichInk final : public platform::RichInk {
 public:
  static constexpr LONG kChunkSize = 4096;

  // The context outlives the control.
  explicit RichInk(DeviceContext& context) : context_(context) {}
  RichInk(const RichInk&) = delete;
  RichInk& operator=(const RichInk&) = delete;

#define VORN_DECLARE_OVERRIDE(result, name, params, args) \
  result name params override;
  VORN_RICH_INK_CALLS(VORN_DECLARE_OVERRIDE)
#undef VORN_DECLARE_OVERRIDE

  // Destroys every window (the conversation's process ends).
  void DestroyAllWindows() { windows_.clear(); }
  std::size_t WindowCount() const { return windows_.size(); }

 private:
  struct Window {
    std::vector<std::u16string> paragraphs = {std::u16string()};
  };

  LRESULT StreamIn(Window& window, WPARAM format, EDITSTREAM* stream);
  LRESULT StreamOut(const Window& window, WPARAM format, EDITSTREAM* stream);
  LRESULT Fail(DWORD error);

  DeviceContext& context_;
  bool registered_ = false;
  std::map<HWND, Window> windows_;
  HWND next_ = 0x10000;
};

}  // namespace device

#endif  // VORN_DEVICE_RICHINK_RICH_INK_H_
