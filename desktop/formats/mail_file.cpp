#include "desktop/formats/mail_file.h"

#include <gmime/gmime.h>

#include <memory>
#include <mutex>

#include "desktop/base/utf16.h"

namespace desktop {

namespace {

struct ObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using Owned = std::unique_ptr<T, ObjectUnref>;

struct FreeText {
  void operator()(char* text) const { g_free(text); }
};
using OwnedText = std::unique_ptr<char, FreeText>;

void InitOnce() {
  static std::once_flag once;
  std::call_once(once, [] { g_mime_init(); });
}

std::string WithoutCarriageReturns(std::string text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
      continue;
    }
    out += text[i];
  }
  return out;
}

void AddAddresses(GMimeMessage* message, GMimeAddressType type,
                  std::u16string_view list) {
  InternetAddressList* target = g_mime_message_get_addresses(message, type);
  for (const std::u16string& piece : SplitMailAddresses(list)) {
    const std::string utf8 = Utf16ToUtf8(piece);
    Owned<InternetAddressList> parsed(
        internet_address_list_parse(nullptr, utf8.c_str()));
    if (parsed && internet_address_list_length(parsed.get()) > 0) {
      internet_address_list_append(target, parsed.get());
    } else {
      Owned<InternetAddress> plain(
          internet_address_mailbox_new(nullptr, utf8.c_str()));
      internet_address_list_add(target, plain.get());
    }
  }
}

void CollectAddresses(InternetAddressList* list, std::u16string& out) {
  const int count = list == nullptr ? 0 : internet_address_list_length(list);
  for (int i = 0; i < count; ++i) {
    InternetAddress* address = internet_address_list_get_address(list, i);
    if (INTERNET_ADDRESS_IS_GROUP(address)) {
      CollectAddresses(
          internet_address_group_get_members(INTERNET_ADDRESS_GROUP(address)),
          out);
      continue;
    }
    const char* name = internet_address_get_name(address);
    std::string text;
    if (name != nullptr && *name != '\0') {
      OwnedText shown(internet_address_to_string(address, nullptr, FALSE));
      text = shown.get();
    } else {
      text =
          internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address));
    }
    if (!out.empty()) out += u';';
    out += Utf8ToUtf16(text);
  }
}

std::u16string Addresses(GMimeMessage* message, GMimeAddressType type) {
  std::u16string out;
  CollectAddresses(g_mime_message_get_addresses(message, type), out);
  return out;
}

Owned<GMimeDataWrapper> Content(const void* data, std::size_t size) {
  static const char kNothing[] = "";
  Owned<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(
      size == 0 ? kNothing : static_cast<const char*>(data), size));
  return Owned<GMimeDataWrapper>(g_mime_data_wrapper_new_with_stream(
      stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
}

Owned<GMimeObject> BodyPart(const MailMessage& message) {
  // The part ends with a line feed of its own, which Read takes off again.
  const std::string body =
      WithoutCarriageReturns(Utf16ToUtf8(message.body)) + "\n";
  GMimeTextPart* text = g_mime_text_part_new_with_subtype("plain");
  GMimePart* part = GMIME_PART(text);
  g_mime_object_set_content_type_parameter(GMIME_OBJECT(part), "charset",
                                           "utf-8");
  Owned<GMimeDataWrapper> content = Content(body.data(), body.size());
  g_mime_part_set_content(part, content.get());
  g_mime_part_set_content_encoding(part,
                                   g_mime_part_get_best_content_encoding(
                                       part, GMIME_ENCODING_CONSTRAINT_7BIT));
  return Owned<GMimeObject>(GMIME_OBJECT(part));
}

Owned<GMimeObject> AttachmentPart(const MailAttachment& attachment) {
  GMimePart* part = g_mime_part_new_with_type("application", "octet-stream");
  g_mime_object_set_disposition(GMIME_OBJECT(part), "attachment");
  const std::string name = Utf16ToUtf8(attachment.name);
  if (!name.empty()) g_mime_part_set_filename(part, name.c_str());
  Owned<GMimeDataWrapper> content =
      Content(attachment.data.data(), attachment.data.size());
  g_mime_part_set_content(part, content.get());
  g_mime_part_set_content_encoding(part, GMIME_CONTENT_ENCODING_BASE64);
  return Owned<GMimeObject>(GMIME_OBJECT(part));
}

std::vector<std::uint8_t> DecodedBytes(GMimePart* part) {
  GMimeDataWrapper* content = g_mime_part_get_content(part);
  if (content == nullptr) return {};
  Owned<GMimeStream> stream(g_mime_stream_mem_new());
  g_mime_data_wrapper_write_to_stream(content, stream.get());
  GByteArray* bytes =
      g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
  return std::vector<std::uint8_t>(bytes->data, bytes->data + bytes->len);
}

// Walks the parts: the first plain text part that is no attachment is the
// body; leaf parts with a file name or an attachment disposition are
// attachments.
void Walk(GMimeObject* object, bool& have_body, MailMessage& out) {
  if (GMIME_IS_MULTIPART(object)) {
    GMimeMultipart* multipart = GMIME_MULTIPART(object);
    const int count = g_mime_multipart_get_count(multipart);
    for (int i = 0; i < count; ++i) {
      Walk(g_mime_multipart_get_part(multipart, i), have_body, out);
    }
    return;
  }
  if (!GMIME_IS_PART(object)) return;
  GMimePart* part = GMIME_PART(object);
  const char* filename = g_mime_part_get_filename(part);
  const bool attachment =
      g_mime_part_is_attachment(part) || (filename != nullptr);
  if (!attachment && !have_body && GMIME_IS_TEXT_PART(object)) {
    GMimeContentType* type = g_mime_object_get_content_type(object);
    if (g_mime_content_type_is_type(type, "text", "plain")) {
      OwnedText text(g_mime_text_part_get_text(GMIME_TEXT_PART(object)));
      std::string body =
          WithoutCarriageReturns(text ? std::string(text.get()) : "");
      if (!body.empty() && body.back() == '\n') body.pop_back();
      out.body = Utf8ToUtf16(body);
      have_body = true;
      return;
    }
  }
  if (!attachment) return;
  MailAttachment file;
  file.name = Utf8ToUtf16(filename != nullptr ? filename : "");
  file.data = DecodedBytes(part);
  out.attachments.push_back(std::move(file));
}

}  // namespace

std::string MailFile::Write(const MailMessage& message) {
  InitOnce();
  Owned<GMimeMessage> mime(g_mime_message_new(TRUE));
  AddAddresses(mime.get(), GMIME_ADDRESS_TYPE_FROM, message.from);
  AddAddresses(mime.get(), GMIME_ADDRESS_TYPE_TO, message.to);
  AddAddresses(mime.get(), GMIME_ADDRESS_TYPE_CC, message.cc);
  AddAddresses(mime.get(), GMIME_ADDRESS_TYPE_BCC, message.bcc);
  const std::string subject = Utf16ToUtf8(message.subject);
  g_mime_message_set_subject(mime.get(), subject.c_str(), "utf-8");
  if (message.time) {
    const TimeRecord& t = *message.time;
    GDateTime* date =
        g_date_time_new_utc(t.year, t.month, t.day, t.hour, t.minute, t.second);
    if (date != nullptr) {
      g_mime_message_set_date(mime.get(), date);
      g_date_time_unref(date);
    }
  }
  std::string id = Utf16ToUtf8(message.message_id);
  if (id.size() >= 2 && id.front() == '<' && id.back() == '>') {
    id = id.substr(1, id.size() - 2);
  }
  if (!id.empty()) g_mime_message_set_message_id(mime.get(), id.c_str());

  Owned<GMimeObject> body = BodyPart(message);
  if (message.attachments.empty()) {
    g_mime_message_set_mime_part(mime.get(), body.get());
  } else {
    Owned<GMimeMultipart> mixed(g_mime_multipart_new_with_subtype("mixed"));
    g_mime_multipart_add(mixed.get(), body.get());
    for (const MailAttachment& attachment : message.attachments) {
      Owned<GMimeObject> part = AttachmentPart(attachment);
      g_mime_multipart_add(mixed.get(), part.get());
    }
    g_mime_message_set_mime_part(mime.get(), GMIME_OBJECT(mixed.get()));
  }
  OwnedText text(g_mime_object_to_string(GMIME_OBJECT(mime.get()), nullptr));
  return text ? std::string(text.get()) : std::string();
}

Result<MailMessage> MailFile::Read(std::string_view text) {
  InitOnce();
  Owned<GMimeStream> stream(
      g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
  Owned<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  Owned<GMimeMessage> mime(
      g_mime_parser_construct_message(parser.get(), nullptr));
  if (!mime) return Status::Error("not a mail message");
  MailMessage out;
  out.from = Addresses(mime.get(), GMIME_ADDRESS_TYPE_FROM);
  out.to = Addresses(mime.get(), GMIME_ADDRESS_TYPE_TO);
  out.cc = Addresses(mime.get(), GMIME_ADDRESS_TYPE_CC);
  out.bcc = Addresses(mime.get(), GMIME_ADDRESS_TYPE_BCC);
  const char* subject = g_mime_message_get_subject(mime.get());
  if (subject != nullptr) out.subject = Utf8ToUtf16(subject);
  const char* id = g_mime_message_get_message_id(mime.get());
  if (id != nullptr && *id != '\0') {
    out.message_id = u"<" + Utf8ToUtf16(id) + u">";
  }
  GDateTime* date = g_mime_message_get_date(mime.get());
  if (date != nullptr) {
    GDateTime* utc = g_date_time_to_utc(date);
    if (utc != nullptr) {
      TimeRecord t = TimeRecord::FromDate(g_date_time_get_year(utc),
                                          g_date_time_get_month(utc),
                                          g_date_time_get_day_of_month(utc));
      t.hour = static_cast<std::uint16_t>(g_date_time_get_hour(utc));
      t.minute = static_cast<std::uint16_t>(g_date_time_get_minute(utc));
      t.second = static_cast<std::uint16_t>(g_date_time_get_second(utc));
      out.time = t;
      g_date_time_unref(utc);
    }
  }
  GMimeObject* root = g_mime_message_get_mime_part(mime.get());
  bool have_body = false;
  if (root != nullptr) Walk(root, have_body, out);
  return out;
}

}  // namespace desktop
