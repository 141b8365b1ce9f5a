// The mail action's MIME text: whatever subject, body and addresses a mail
// holds, the text parses back (with GMime's own parser) to exactly the
// headers and recipients intended, with the subject and the bodies as given.
// Nothing rendered from an event may add a header, a recipient or a part.

#include <fuzzer/FuzzedDataProvider.h>
#include <gmime/gmime.h>

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_support.hpp"
#include "mail/address.hpp"
#include "mail/mail_template.hpp"
#include "mail/mime.hpp"
#include "network/text.hpp"

namespace {

using namespace orv;
using plugins::mail::MailMessage;

// An address of the characters addresses may hold; the action takes only
// those IsAddress accepts, so the others are dropped.
std::vector<std::string> Addresses(FuzzedDataProvider& input, std::size_t most) {
  static constexpr std::string_view kLocal =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789!#$%&'*+-/=?^_`{|}~.";
  static constexpr std::string_view kDomain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-.";
  std::vector<std::string> addresses;
  std::size_t const count = input.ConsumeIntegralInRange<std::size_t>(0, most);
  for (std::size_t i = 0; i < count; ++i) {
    std::string local = input.ConsumeRandomLengthString(24);
    for (char& c : local) {
      c = kLocal[static_cast<unsigned char>(c) % kLocal.size()];
    }
    std::string domain = input.ConsumeRandomLengthString(24);
    for (char& c : domain) {
      c = kDomain[static_cast<unsigned char>(c) % kDomain.size()];
    }
    std::string address = local + "@" + domain;
    if (plugins::mail::IsAddress(address)) {
      addresses.push_back(std::move(address));
    }
  }
  return addresses;
}

template <class T>
struct Unref {
  void operator()(T* object) const noexcept { g_object_unref(object); }
};
template <class T>
using Ref = std::unique_ptr<T, Unref<T>>;

std::vector<std::string> MailboxesOf(GMimeMessage* message, GMimeAddressType type) {
  std::vector<std::string> addresses;
  InternetAddressList* list = g_mime_message_get_addresses(message, type);
  for (int i = 0; list != nullptr && i < internet_address_list_length(list); ++i) {
    InternetAddress* address = internet_address_list_get_address(list, i);
    fuzz::Check(INTERNET_ADDRESS_IS_MAILBOX(address), "a group among the addresses");
    char const* name = internet_address_get_name(address);
    fuzz::Check(name == nullptr || *name == '\0', "an address with a display name", name != nullptr ? name : "");
    addresses.emplace_back(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address)));
  }
  return addresses;
}

std::string Join(std::vector<std::string> const& items) {
  std::string text;
  for (auto const& item : items) {
    text += item + " ";
  }
  return text;
}

// Text with its line ends as "\n": the mail carries CRLF.
std::string Lines(std::string_view text) {
  std::string lines;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
      continue;
    }
    lines += text[i];
  }
  return lines;
}

// The names of the headers of `object`, lower case, each with its count.
std::string HeadersOf(GMimeObject* object) {
  std::map<std::string, int> found;
  GMimeHeaderList* headers = g_mime_object_get_header_list(object);
  for (int i = 0; i < g_mime_header_list_get_count(headers); ++i) {
    std::string name = g_mime_header_get_name(g_mime_header_list_get_header_at(headers, i));
    for (char& c : name) {
      c = static_cast<char>(g_ascii_tolower(c));
    }
    ++found[name];
  }
  std::string names;
  for (auto const& [name, count] : found) {
    names += name + "=" + std::to_string(count) + " ";
  }
  return names;
}

std::string Describe(std::map<std::string, int> const& headers) {
  std::string names;
  for (auto const& [name, count] : headers) {
    names += name + "=" + std::to_string(count) + " ";
  }
  return names;
}

std::string const kTextPartHeaders = "content-transfer-encoding=1 content-type=1 ";

std::string TextOf(GMimeObject* part, char const* subtype) {
  fuzz::Check(GMIME_IS_TEXT_PART(part), "a body part that is not text");
  fuzz::Check(HeadersOf(part) == kTextPartHeaders, "a text part's headers are not those intended", HeadersOf(part));
  GMimeContentType* type = g_mime_object_get_content_type(part);
  fuzz::Check(g_mime_content_type_is_type(type, "text", subtype) != FALSE, "a body part of another type", subtype);
  char* text = g_mime_text_part_get_text(GMIME_TEXT_PART(part));
  std::string result(text != nullptr ? text : "");
  g_free(text);
  return result;
}

// Whether `received`, a text part read back, is `sent`: the same lines, where
// the part may end with one line break more. A mail ends its last line, and
// GMime's parser keeps that line break with the part's text.
bool IsSameText(std::string_view received, std::string_view sent) {
  std::string const lines = Lines(received);
  std::string const intended = Lines(sent);
  return lines == intended || (!intended.ends_with('\n') && lines == intended + "\n");
}

// `text` with each byte that is not UTF-8 replaced by U+FFFD.
std::string ValidUtf8(std::string const& text) {
  gchar* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string result(valid);
  g_free(valid);
  return result;
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// The Subject header decoded one encoded word at a time, as RFC 2047 has it.
// GMime's own decoder joins the payloads of adjacent base64 words and so
// loses every word after one that ends in padding ("=?UTF-8?B?QQ==?=
// =?UTF-8?B?QUJD?=" reads as "A"), though its encoder writes such words.
std::string SubjectOf(GMimeObject* message) {
  GMimeHeaderList* headers = g_mime_object_get_header_list(message);
  GMimeHeader* header = g_mime_header_list_get_header(headers, "Subject");
  fuzz::Check(header != nullptr, "no subject");
  std::string unfolded;
  for (char const* c = g_mime_header_get_raw_value(header); *c != '\0'; ++c) {
    if (*c != '\r' && *c != '\n') {
      unfolded += *c;
    }
  }
  std::string decoded;
  std::string blanks;
  bool afterWord = false;
  std::size_t at = 0;
  while (at < unfolded.size()) {
    std::size_t end = at;
    bool const blank = IsBlank(unfolded[at]);
    while (end < unfolded.size() && IsBlank(unfolded[end]) == blank) {
      ++end;
    }
    std::string const token = unfolded.substr(at, end - at);
    at = end;
    if (blank) {
      blanks = token;
      continue;
    }
    bool const word = token.starts_with("=?") && token.ends_with("?=") && token.size() > 4;
    if (!(word && afterWord)) {
      decoded += blanks;  // blanks between two encoded words are not text
    }
    blanks.clear();
    if (word) {
      char* text = g_mime_utils_header_decode_text(nullptr, token.c_str());
      decoded += text;
      g_free(text);
    } else {
      decoded += token;
    }
    afterWord = word;
  }
  return std::string(plugins::network::Trim(decoded));
}

bool IsUtf8(std::string_view text) {
  return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // Initialises GMime once, as the action does.
  MailMessage mail;
  mail.from = "camera@example.test";
  mail.to = {"guard@example.test"};
  mail.body = "x";
  mail.messageId = "orv.1.2.3@example.test";
  plugins::mail::BuildMailText(mail);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  MailMessage mail;
  std::vector<std::string> const from = Addresses(input, 1);
  mail.from = from.empty() ? "camera@example.test" : from.front();
  mail.to = Addresses(input, 3);
  mail.cc = Addresses(input, 3);
  mail.bcc = Addresses(input, 2);
  if (mail.to.empty() && mail.cc.empty() && mail.bcc.empty()) {
    mail.to.push_back("guard@example.test");
  }
  // Seconds that a system_clock time point holds.
  std::int64_t const seconds = input.ConsumeIntegralInRange<std::int64_t>(-9'223'372'036, 9'223'372'035);
  mail.date = std::chrono::system_clock::time_point(std::chrono::seconds(seconds));
  auto const start =
      std::chrono::system_clock::time_point(std::chrono::nanoseconds(input.ConsumeIntegral<std::int64_t>()));
  mail.messageId = plugins::mail::MessageIdFor(start, input.ConsumeIntegral<std::uint32_t>(),
                                               input.ConsumeIntegral<std::uint32_t>(), mail.from);
  // The subject loses its line breaks when it is rendered, before it gets here.
  mail.subject = plugins::network::WithoutLineBreaks(input.ConsumeRandomLengthString(300));
  bool const html = input.ConsumeBool();
  // Rendered text is mostly UTF-8; random bytes mostly are not, and only
  // UTF-8 text is compared with what comes back.
  bool const utf8 = input.ConsumeBool();
  mail.body = input.ConsumeRandomLengthString(4000);
  mail.htmlBody = html ? input.ConsumeRemainingBytesAsString() : std::string();
  if (utf8) {
    mail.subject = ValidUtf8(mail.subject);
    mail.body = ValidUtf8(mail.body);
    mail.htmlBody = ValidUtf8(mail.htmlBody);
  }

  std::string const text = plugins::mail::BuildMailText(mail);

  Ref<GMimeStream> stream(g_mime_stream_mem_new_with_buffer(text.data(), text.size()));
  Ref<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
  Ref<GMimeMessage> message(g_mime_parser_construct_message(parser.get(), nullptr));
  fuzz::Check(message != nullptr, "the mail does not parse", text);

  // The headers: these and no others, each once; GMime keeps the Content-
  // headers with the part they describe.
  std::map<std::string, int> expected = {{"from", 1}, {"to", 1},         {"subject", 1},
                                         {"date", 1}, {"message-id", 1}, {"mime-version", 1}};
  if (mail.to.empty()) {
    expected.erase("to");
  }
  if (!mail.cc.empty()) {
    expected["cc"] = 1;
  }
  std::string const found = HeadersOf(GMIME_OBJECT(message.get()));
  fuzz::Check(found == Describe(expected), "the headers are not those intended", found + "\n" + text);

  // The recipients: exactly these addresses; bcc nowhere.
  fuzz::Check(MailboxesOf(message.get(), GMIME_ADDRESS_TYPE_FROM) == std::vector<std::string>{mail.from},
              "the sender changed", text);
  fuzz::Check(MailboxesOf(message.get(), GMIME_ADDRESS_TYPE_TO) == mail.to, "the recipients changed",
              Join(MailboxesOf(message.get(), GMIME_ADDRESS_TYPE_TO)) + "\n" + text);
  fuzz::Check(MailboxesOf(message.get(), GMIME_ADDRESS_TYPE_CC) == mail.cc, "the copies changed", text);
  fuzz::Check(MailboxesOf(message.get(), GMIME_ADDRESS_TYPE_BCC).empty(), "a blind copy shows", text);

  char const* messageId = g_mime_message_get_message_id(message.get());
  fuzz::Check(messageId != nullptr && mail.messageId == messageId, "the message id changed", text);
  // GMime's parser reads no date before 1970 (it gives none), though the
  // text says it right; later ones must come back as they were.
  GDateTime* date = g_mime_message_get_date(message.get());
  fuzz::Check(seconds < 0 || (date != nullptr && g_date_time_to_unix(date) == seconds), "the date changed", text);

  char const* subject = g_mime_message_get_subject(message.get());
  fuzz::Check(subject != nullptr, "no subject", text);
  if (IsUtf8(mail.subject)) {
    std::string const decoded = SubjectOf(GMIME_OBJECT(message.get()));
    fuzz::Check(plugins::network::Trim(mail.subject) == decoded, "the subject changed",
                "'" + mail.subject + "' came back as '" + decoded + "'\n" + text);
  }

  GMimeObject* body = g_mime_message_get_mime_part(message.get());
  fuzz::Check(body != nullptr, "no body", text);
  if (mail.htmlBody.empty()) {
    std::string const plain = TextOf(body, "plain");
    if (IsUtf8(mail.body)) {
      fuzz::Check(IsSameText(plain, mail.body), "the body changed", plain + "\n" + text);
    }
  } else {
    fuzz::Check(GMIME_IS_MULTIPART(body) && g_mime_multipart_get_count(GMIME_MULTIPART(body)) == 2,
                "the bodies are not two parts", text);
    fuzz::Check(HeadersOf(body) == "content-type=1 ", "the multipart's headers are not those intended", text);
    std::string const plain = TextOf(g_mime_multipart_get_part(GMIME_MULTIPART(body), 0), "plain");
    std::string const rich = TextOf(g_mime_multipart_get_part(GMIME_MULTIPART(body), 1), "html");
    if (IsUtf8(mail.body)) {
      fuzz::Check(IsSameText(plain, mail.body), "the plain body changed", plain + "\n" + text);
    }
    if (IsUtf8(mail.htmlBody)) {
      fuzz::Check(IsSameText(rich, mail.htmlBody), "the HTML body changed", rich + "\n" + text);
    }
  }
  return 0;
}
