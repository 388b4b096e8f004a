#include "agent/mail/store/attachment_list.h"

#include <algorithm>
#include <string_view>

namespace agent {
namespace {

class ListReader {
 public:
  explicit ListReader(std::u16string_view text) : text_(text) {}

  // A decimal number as far as its digits go, then one separator.
  bool Number(DWORD& value) {
    if (at_ >= text_.size()) return false;
    value = 0;
    while (at_ < text_.size() && text_[at_] >= u'0' && text_[at_] <= u'9') {
      value = value * 10 + static_cast<DWORD>(text_[at_] - u'0');
      ++at_;
    }
    if (at_ >= text_.size()) return false;
    ++at_;  // the separator
    return true;
  }

  bool Text(DWORD length, std::u16string& out) {
    if (text_.size() - at_ < length) return false;
    out.assign(text_.substr(at_, length));
    at_ += length;
    return true;
  }

 private:
  std::u16string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<AttachmentStrings> ParseWrittenAttachmentList(LPCWSTR text) {
  std::vector<AttachmentStrings> out;
  if (text == nullptr) return out;
  ListReader reader{std::u16string_view(text)};
  DWORD count = 0;
  if (!reader.Number(count)) return out;
  count = std::min(count, kMaxWrittenAttachments);
  for (DWORD i = 0; i < count; ++i) {
    AttachmentStrings strings;
    DWORD length = 0;
    if (!reader.Number(length) || !reader.Text(length, strings.first)) break;
    if (strings.first.size() > kAttachmentNameChars) {
      strings.first.resize(kAttachmentNameChars);
    }
    if (!reader.Number(length) || !reader.Text(length, strings.second)) {
      break;
    }
    out.push_back(std::move(strings));
  }
  return out;
}

}  // namespace agent
