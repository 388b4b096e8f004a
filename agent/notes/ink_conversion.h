// Conversion between note files and plain Unicode text through a hidden
// rich ink control: a file is streamed in as ink and out as text, or text
// is streamed in and out as ink into a file.
#ifndef VORN_AGENT_NOTES_INK_CONVERSION_H_
#define VORN_AGENT_NOTES_INK_CONVERSION_H_

#include "agent/session/request_reader.h"
#include "platform/api.h"

namespace agent {

// The stream format of note files: the control's ink format with SF_RTF.
inline constexpr WPARAM kInkFileFormat = SF_PWI | SF_RTF;
inline constexpr WPARAM kUnicodeTextFormat = SF_TEXT | SF_UNICODE;

// A hidden "RichInk" window (style 0x800, default position and size, no
// parent); 0 when it cannot be created.
HWND CreateConversionWindow();
void DestroyConversionWindow(HWND window);

// Streams the open note file `file` into `window` as ink and returns the
// window's text, NUL-terminated. A read that fails shows "RFCB failed"
// (caption "CCEInkNote") and ends the stream.
OwnedString NoteTextFromFile(HWND window, HANDLE file);

// Streams `text` into `window` and writes it as ink into the file `path`,
// created anew. Failures to create or write the file are not reported.
// `text` must not be null (a fault otherwise: the handheld measures it).
// Returns 1.
int NoteFileFromText(HWND window, LPCWSTR text, LPCWSTR path);

}  // namespace agent

#endif  // VORN_AGENT_NOTES_INK_CONVERSION_H_
