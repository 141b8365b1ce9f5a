#include "mail/mime.hpp"

#include <gmime/gmime.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string_view>

#include "network/text.hpp"
#include "orv/hash/murmur_three_32.hpp"

namespace orv::plugins::mail {
namespace {

void InitialiseOnce() {
  static std::once_flag once;
  std::call_once(once, [] {
    g_mime_init();
    // GMime parses back every Date header it is given, into a GDateTime in
    // the zone "+00:00:00" for our UTC dates. GLib shares a zone only while
    // someone holds it: without this lasting reference each mail builds the
    // zone anew and the thread that drops it last frees it. That is work for
    // nothing, and a free that ThreadSanitizer, blind to GLib's own locks and
    // atomic counts, reports as a race with the thread that made the zone.
    static GTimeZone* const utc = g_time_zone_new_identifier("+00:00:00");
    static_cast<void>(utc);
  });
}

struct Unref {
  void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
template <class T>
using Ref = std::unique_ptr<T, Unref>;

// A UTF-8 text part in quoted-printable: any text survives it, and its lines
// stay short.
Ref<GMimeObject> TextPart(char const* subtype, std::string const& text) {
  Ref<GMimeTextPart> part(g_mime_text_part_new_with_subtype(subtype));
  Ref<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
  Ref<GMimeDataWrapper> content(g_mime_data_wrapper_new_with_stream(stream.get(), GMIME_CONTENT_ENCODING_DEFAULT));
  g_mime_part_set_content(GMIME_PART(part.get()), content.get());
  g_mime_object_set_content_type_parameter(GMIME_OBJECT(part.get()), "charset", "utf-8");
  g_mime_part_set_content_encoding(GMIME_PART(part.get()), GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE);
  return Ref<GMimeObject>(GMIME_OBJECT(part.release()));
}

void AddMailboxes(GMimeMessage* message, GMimeAddressType type, std::vector<std::string> const& addresses) {
  for (std::string const& address : addresses) {
    g_mime_message_add_mailbox(message, type, nullptr, address.c_str());
  }
}

// "=_" can never occur in quoted-printable text, so neither can the boundary.
std::string BoundaryFor(std::string const& messageId) {
  char hex[9];
  std::snprintf(hex, sizeof hex, "%08x", hash::MurmurThree32(messageId.c_str()).GetValue());
  return std::string("=_orv_alternative_") + hex;
}

// `text` as base64 encoded words of whole UTF-8 characters, as a folded raw
// header value. GMime writes text that looks like an encoded word
// ("=?utf-8?q?x?=") as it is, and every reader then decodes it; encoded
// itself, it reads back as it was.
std::string EncodedWords(std::string_view text) {
  constexpr std::size_t kWordBytes = 45;  // 60 characters of base64, a word of 72
  std::string raw;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = std::min(at + kWordBytes, text.size());
    while (end < text.size() && end > at + kWordBytes - 3 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
      --end;  // not inside a character
    }
    gchar* base64 = g_base64_encode(reinterpret_cast<guchar const*>(text.data() + at), end - at);
    raw += std::string(" =?UTF-8?B?") + base64 + "?=\n";
    g_free(base64);
    at = end;
  }
  return raw;
}

}  // namespace

std::string BuildMailText(MailMessage const& mail) {
  InitialiseOnce();
  Ref<GMimeMessage> message(g_mime_message_new(TRUE));
  AddMailboxes(message.get(), GMIME_ADDRESS_TYPE_FROM, {mail.from});
  AddMailboxes(message.get(), GMIME_ADDRESS_TYPE_TO, mail.to);
  AddMailboxes(message.get(), GMIME_ADDRESS_TYPE_CC, mail.cc);
  std::string const subject = network::WithoutLineBreaks(mail.subject);
  g_mime_message_set_subject(message.get(), subject.c_str(), "utf-8");
  if (subject.find("=?") != std::string::npos) {
    GMimeHeaderList* headers = g_mime_object_get_header_list(GMIME_OBJECT(message.get()));
    g_mime_header_set_raw_value(g_mime_header_list_get_header(headers, "Subject"), EncodedWords(subject).c_str());
  }

  auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(mail.date.time_since_epoch()).count();
  GDateTime* date = g_date_time_new_from_unix_utc(seconds);
  if (date == nullptr) {
    throw std::invalid_argument("the mail's date " + std::to_string(seconds) + " is out of range");
  }
  g_mime_message_set_date(message.get(), date);
  g_date_time_unref(date);
  g_mime_message_set_message_id(message.get(), mail.messageId.c_str());

  Ref<GMimeObject> body = TextPart("plain", mail.body);
  if (!mail.htmlBody.empty()) {
    Ref<GMimeMultipart> alternative(g_mime_multipart_new_with_subtype("alternative"));
    g_mime_multipart_set_boundary(alternative.get(), BoundaryFor(mail.messageId).c_str());
    g_mime_multipart_add(alternative.get(), body.get());
    Ref<GMimeObject> html = TextPart("html", mail.htmlBody);
    g_mime_multipart_add(alternative.get(), html.get());
    body.reset(GMIME_OBJECT(alternative.release()));
  }
  g_mime_message_set_mime_part(message.get(), body.get());

  GMimeFormatOptions* options = g_mime_format_options_new();
  g_mime_format_options_set_newline_format(options, GMIME_NEWLINE_FORMAT_DOS);
  char* text = g_mime_object_to_string(GMIME_OBJECT(message.get()), options);
  g_mime_format_options_free(options);
  std::string result(text != nullptr ? text : "");
  g_free(text);
  return result;
}

}  // namespace orv::plugins::mail
