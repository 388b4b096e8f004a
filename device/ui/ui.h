// The handheld's screen, as far as the agent uses it: modal message boxes.
//
// Each message box is written as one line "messagebox: CAPTION: TEXT" in
// UTF-8 to the message output (a line feed inside the caption or the text
// becomes the two characters "\n"), kept in the table
// message_boxes(sequence, caption, text, style) of the image, and dismissed
// at once with IDOK.
#ifndef VORN_DEVICE_UI_UI_H_
#define VORN_DEVICE_UI_UI_H_

#include <ostream>
#include <string>
#include <string_view>

#include "device/image/device_context.h"
#include "platform/services.h"

namespace device {

class Ui final : public platform::Ui {
 public:
  // The context outlives the UI. Message boxes go to std::cerr until
  // SetOutput says otherwise.
  explicit Ui(DeviceContext& context);
  Ui(const Ui&) = delete;
  Ui& operator=(const Ui&) = delete;

  // Where message box lines are written; not owned, must outlive the UI.
  // Null silences them (they are still kept in the image).
  void SetOutput(std::ostream* out) { out_ = out; }

  // The line written for a message box.
  static std::string FormatLine(std::u16string_view caption,
                                std::u16string_view text);

  // MessageBoxW: IDOK for boxes with only an OK button (MB_OK, any icon or
  //   other flag). A null caption reads "Error", as on the handheld. Boxes
  //   with other buttons are not emulated: 0 + ERROR_CALL_NOT_IMPLEMENTED,
  //   nothing shown.
#define VORN_DECLARE_OVERRIDE(result, name, params, args) \
  result name params override;
  VORN_UI_CALLS(VORN_DECLARE_OVERRIDE)
#undef VORN_DECLARE_OVERRIDE

 private:
  DeviceContext& context_;
  std::ostream* out_;
};

}  // namespace device

#endif  // VORN_DEVICE_UI_UI_H_
