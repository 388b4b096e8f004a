// Writes note files in the rich ink control's container, in the layout
// known to open on handhelds: the header, a font table of Tahoma and
// Courier New, the page setup records, the paragraph list, one paragraph
// record and one line layout record per paragraph (Courier New 10 pt), and
// the end record.
//
// Characters are coded as the container knows them: printable ASCII as
// itself, U+00A0 to U+00FF as C1 xx, tabs as C4 04, U+0100 to U+3FFF in the
// two-byte form, and everything else (controls, U+0080 to U+009F,
// characters above U+3FFF such as CJK, surrogate pairs) as one '?'.
#ifndef VORN_DEVICE_RICHINK_PWI_WRITER_H_
#define VORN_DEVICE_RICHINK_PWI_WRITER_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace device {

// The container's u16 fields bound a paragraph's coded text and the number
// of paragraphs; longer paragraphs are split, further paragraphs are joined
// to the last one with a space.
inline constexpr std::size_t kPwiMaxParagraphBytes = 60000;
inline constexpr std::size_t kPwiMaxParagraphs = 32000;

// The bytes of a note file holding `paragraphs` (at least one paragraph is
// written; none gives one empty paragraph).
std::vector<std::uint8_t> WritePwi(
    const std::vector<std::u16string>& paragraphs);

// Splits text at CR LF, LF and CR into paragraphs (at least one).
std::vector<std::u16string> SplitParagraphs(std::u16string_view text);

}  // namespace device

#endif  // VORN_DEVICE_RICHINK_PWI_WRITER_H_
