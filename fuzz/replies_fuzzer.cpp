// What the network actions make of what servers say and of what they are
// configured with, fed from a buffer: an HTTP status and body against the
// expected statuses, libcurl's failures, an SMTP server's reply lines, the
// header lines and address of a request. Every detail stays on one line and
// within its length, and no password shows.

#include <curl/curl.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz_support.hpp"
#include "mail/smtp.hpp"
#include "network/text.hpp"
#include "orv/templating/syntax_error.hpp"
#include "request/request_template.hpp"
#include "request/response.hpp"

namespace {

using namespace orv;
using Code = action::exception::Code;

bool OneLine(std::string_view text) { return text.find_first_of("\r\n") == std::string_view::npos; }

bool Printable(std::string_view text) {
  for (char const c : text) {
    auto const byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) {
      return false;
    }
  }
  return true;
}

void Response(FuzzedDataProvider& input) {
  std::string const text = input.ConsumeRandomLengthString(40);
  std::optional<plugins::request::ExpectedStatus> expected;
  try {
    expected.emplace(text);
  } catch (std::invalid_argument const& error) {
    fuzz::Check(std::string_view(error.what()).starts_with("expected_status '"), "a refusal names no property",
                error.what());
    expected.emplace();
  }
  long const status = input.ConsumeIntegralInRange<long>(-1, 1000);
  // The body arrives in pieces, as libcurl hands it over.
  std::string body;
  std::string whole;
  for (int pieces = input.ConsumeIntegralInRange(0, 8); pieces > 0; --pieces) {
    std::string const piece = input.ConsumeRandomLengthString(300);
    plugins::request::KeepBodyStart(body, piece);
    whole += piece;
  }
  fuzz::Check(body.size() <= plugins::request::kBodyExcerpt + 1 && whole.starts_with(body),
              "the body kept is not the body's start");
  auto const failure = plugins::request::CheckResponse(status, body, *expected);
  fuzz::Check(failure.has_value() != expected->Accepts(status), "a response's outcome disagrees with the status");
  if (failure) {
    fuzz::Check(failure->code == Code::RequestFailed, "a refused status with another code");
    fuzz::Check(OneLine(failure->detail), "a response's detail spans lines", failure->detail);
    fuzz::Check(failure->detail.size() <= 100 + expected->GetText().size() + plugins::request::kBodyExcerpt,
                "a response's detail is too long", failure->detail);
  }
}

void Failures(FuzzedDataProvider& input) {
  auto const code = static_cast<CURLcode>(input.ConsumeIntegralInRange<int>(1, CURL_LAST));
  std::string const errorText = input.ConsumeRandomLengthString(CURL_ERROR_SIZE);
  {
    auto const failure = plugins::request::FailureOf(code, errorText);
    auto const c = failure.code;
    fuzz::Check(c == Code::RequestHostNotResolved || c == Code::RequestConnectionTimedOut || c == Code::RequestFailed ||
                    c == Code::RequestTlsHandshakeFailed || c == Code::RequestCertificateVerificationFailed,
                "a request failure of another action's code");
    fuzz::Check(failure.detail == errorText, "a request failure's detail is not libcurl's text");
  }
  // The SMTP server's reply lines, as libcurl reports them.
  std::string kept;
  std::string lastLine;
  std::string lastRefusal;
  for (int lines = input.ConsumeIntegralInRange(0, 6); lines > 0; --lines) {
    std::string const line = input.ConsumeRandomLengthString(400);
    plugins::mail::KeepReply(kept, line);
    std::string_view const trimmed = plugins::network::Trim(line);
    if (!trimmed.empty()) {
      lastLine = plugins::network::Excerpt(trimmed, 200);
      if (trimmed[0] == '4' || trimmed[0] == '5') {
        lastRefusal = lastLine;
      }
    }
  }
  fuzz::Check(kept == (lastRefusal.empty() ? lastLine : lastRefusal), "the reply kept is not the last refusal or line",
              kept);
  fuzz::Check(kept.size() <= 203 && Printable(kept), "the reply kept is not one short line", kept);
  bool const connected = input.ConsumeBool();
  auto const failure = plugins::mail::FailureOf(code, errorText, kept, connected);
  auto const c = failure.code;
  fuzz::Check(c == Code::MailCouldntConnect || c == Code::MailLoginFailed || c == Code::MailCouldntSendData ||
                  c == Code::MailSendTimedOut || c == Code::MailHostNotResolved || c == Code::MailConnectionTimedOut,
              "a mail failure of another action's code");
  fuzz::Check(failure.detail.starts_with(errorText), "a mail failure's detail is not libcurl's text");
}

struct UrlDeleter {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};

// The password libcurl finds in `uri`, if it parses and has one.
std::optional<std::string> PasswordOf(std::string const& uri) {
  std::unique_ptr<CURLU, UrlDeleter> const url(curl_url());
  if (curl_url_set(url.get(), CURLUPART_URL, uri.c_str(), 0) != CURLUE_OK) {
    return std::nullopt;
  }
  char* text = nullptr;
  if (curl_url_get(url.get(), CURLUPART_PASSWORD, &text, 0) != CURLUE_OK || text == nullptr) {
    return std::nullopt;
  }
  std::string password(text);
  curl_free(text);
  return password;
}

void Request(FuzzedDataProvider& input) {
  plugins::request::RequestTemplate request;
  request.method = input.PickValueInArray({"GET", "POST", "PUT", "PATCH", "DELETE"});
  request.contentType = input.ConsumeRandomLengthString(60);
  mstch::map const data{{"the_event", mstch::map{{"name", input.ConsumeRandomLengthString(100)},
                                                 {"type", input.ConsumeRandomLengthString(100)}}}};
  try {
    request.headers = plugins::request::ParseHeaders(input.ConsumeRandomLengthString(400));
    request.uri = templating::Template(input.ConsumeRandomLengthString(200), templating::Escape::Url);
    request.body = templating::Template(input.ConsumeRemainingBytesAsString(),
                                        plugins::request::BodyEscapeFor("auto", request.contentType));
  } catch (std::invalid_argument const& error) {
    fuzz::Check(std::string_view(error.what()).starts_with("headers line "), "a header refusal names no line",
                error.what());
    return;
  } catch (templating::SyntaxError const&) {
    return;
  }
  for (auto const& header : request.headers) {
    fuzz::Check(!header.name.empty() && OneLine(header.name) && header.name.find(':') == std::string::npos,
                "a header name that is no token", header.name);
  }
  auto const rendered = plugins::request::Render(request, data);
  if (auto const* failure = std::get_if<plugins::network::Failure>(&rendered)) {
    fuzz::Check(failure->code == Code::RequestUriEmpty || failure->code == Code::RequestUriUnparsable,
                "an address failure of another code");
    return;
  }
  auto const& message = std::get<plugins::request::RequestMessage>(rendered);
  fuzz::Check(message.headers.size() >= request.headers.size() && message.headers.size() <= request.headers.size() + 1,
              "headers were added or lost");
  for (auto const& header : message.headers) {
    fuzz::Check(OneLine(header), "a rendered header spans lines", header);
  }
  fuzz::Check(!plugins::request::CheckUri(message.uri), "a rendered address that does not check");
  if (auto const password = PasswordOf(message.uri); password && !password->empty()) {
    // A message about the address shows it with "***" in place of the password.
    std::string const redacted = plugins::request::RedactUri(message.uri);
    fuzz::Check(PasswordOf(redacted) == std::string("***"), "a redacted address keeps its password", redacted);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  switch (input.ConsumeIntegralInRange(0, 2)) {
    case 0:
      Response(input);
      break;
    case 1:
      Failures(input);
      break;
    default:
      Request(input);
      break;
  }
  return 0;
}
