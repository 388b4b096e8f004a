#include "agent/mail/mapi/mail_attachment_list.h"

namespace agent {

LONG MailAttachmentList::Number() {
  std::size_t p = at_;
  while (p < text_.size() &&
         (text_[p] == u' ' || (text_[p] >= u'\t' && text_[p] <= u'\r'))) {
    ++p;
  }
  bool negative = false;
  if (p < text_.size() && (text_[p] == u'+' || text_[p] == u'-')) {
    negative = text_[p] == u'-';
    ++p;
  }
  std::size_t digits = p;
  std::int64_t value = 0;
  while (p < text_.size() && text_[p] >= u'0' && text_[p] <= u'9') {
    value = value * 10 + (text_[p] - u'0');
    if (value > 0x7FFFFFFF) value = 0x80000000LL;  // saturates as wcstol
    ++p;
  }
  // No digits: wcstol reads nothing and the separator is the first unit.
  if (p == digits) p = at_;
  at_ = p + 1;
  if (negative) value = -value;
  if (value > 0x7FFFFFFF) value = 0x7FFFFFFF;
  if (value < -0x7FFFFFFFLL - 1) value = -0x7FFFFFFFLL - 1;
  return static_cast<LONG>(value);
}

std::u16string MailAttachmentList::Text(LONG length) {
  std::u16string text;
  std::size_t wanted = length > 0 ? static_cast<std::size_t>(length) : 0;
  std::size_t start = at_ < text_.size() ? at_ : text_.size();
  std::size_t available = text_.size() - start;
  std::size_t taken = wanted < available ? wanted : available;
  text.assign(text_.substr(start, taken < kMaxText ? taken : kMaxText));
  at_ += wanted;
  return text;
}

std::vector<IncomingAttachment> MailAttachmentList::Parse(
    std::u16string_view text) {
  MailAttachmentList parser(text);
  LONG count = parser.Number();
  std::vector<IncomingAttachment> attachments;
  for (LONG i = 0; i < count && !parser.AtEnd(); ++i) {
    IncomingAttachment attachment;
    attachment.deviceFile = parser.Text(parser.Number());
    attachment.displayName = parser.Text(parser.Number());
    attachments.push_back(std::move(attachment));
  }
  return attachments;
}

}  // namespace agent
