#include "request/request_template.hpp"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <stdexcept>

#include "network/choice.hpp"
#include "network/text.hpp"

namespace orv::plugins::request {
namespace {

using action::exception::Code;

// RFC 9110 token characters.
bool IsTokenCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
         std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

bool SameIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
  });
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

struct UrlDeleter {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};

std::string Part(CURLU* url, CURLUPart part, unsigned int flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, flags) != CURLUE_OK || text == nullptr) {
    return {};
  }
  std::string result(text);
  curl_free(text);
  return result;
}

}  // namespace

namespace {

// Where the password of an address's user information lies: the offsets of
// its ':' and of the '@' after it; nothing when the address has none.
struct PasswordPlace {
  std::size_t colon;
  std::size_t at;
};

std::optional<PasswordPlace> FindPassword(std::string_view uri) {
  auto const start = uri.find("://");
  if (start == std::string_view::npos) {
    return std::nullopt;
  }
  auto const authorityStart = start + 3;
  auto const authorityEnd = std::min(uri.find_first_of("/?#", authorityStart), uri.size());
  std::string_view const authority = uri.substr(authorityStart, authorityEnd - authorityStart);
  auto const at = authority.rfind('@');
  if (at == std::string_view::npos) {
    return std::nullopt;
  }
  auto const colon = authority.substr(0, at).find(':');
  if (colon == std::string_view::npos) {
    return std::nullopt;
  }
  return PasswordPlace{authorityStart + colon, authorityStart + at};
}

}  // namespace

std::string RedactUri(std::string_view uri) {
  auto const place = FindPassword(uri);
  return place ? WithPassword(WithoutPassword(uri), "***") : std::string(uri);
}

std::string PasswordOf(std::string_view uri) {
  auto const place = FindPassword(uri);
  return place ? std::string(uri.substr(place->colon + 1, place->at - place->colon - 1)) : std::string();
}

std::string WithoutPassword(std::string_view uri) {
  auto const place = FindPassword(uri);
  if (!place) {
    return std::string(uri);
  }
  return std::string(uri.substr(0, place->colon)).append(uri.substr(place->at));
}

std::string WithPassword(std::string_view uri, std::string_view password) {
  auto const start = uri.find("://");
  if (start == std::string_view::npos || FindPassword(uri)) {
    return std::string(uri);
  }
  auto const authorityStart = start + 3;
  auto const authorityEnd = std::min(uri.find_first_of("/?#", authorityStart), uri.size());
  auto const at = uri.substr(authorityStart, authorityEnd - authorityStart).rfind('@');
  if (at == std::string_view::npos) {
    return std::string(uri);
  }
  return std::string(uri.substr(0, authorityStart + at))
      .append(":")
      .append(password)
      .append(uri.substr(authorityStart + at));
}

bool SendsBody(std::string_view method) noexcept { return method == "POST" || method == "PUT" || method == "PATCH"; }

std::vector<HeaderTemplate> ParseHeaders(std::string_view text) {
  std::vector<HeaderTemplate> headers;
  std::size_t number = 0;
  while (!text.empty()) {
    ++number;
    auto const end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (!line.empty() && line.back() == '\r') {
      line.remove_suffix(1);
    }
    if (network::Trim(line).empty()) {
      continue;
    }
    auto const colon = line.find(':');
    std::string_view const name = colon == std::string_view::npos ? line : line.substr(0, colon);
    if (colon == std::string_view::npos || name.empty() || !std::all_of(name.begin(), name.end(), IsTokenCharacter)) {
      throw std::invalid_argument("headers line " + std::to_string(number) + " '" + std::string(line) +
                                  "' is not 'Name: value' with a name of letters, digits and !#$%&'*+-.^_`|~");
    }
    headers.push_back(HeaderTemplate{
        std::string(name), templating::Template(network::Trim(line.substr(colon + 1)), templating::Escape::None)});
  }
  return headers;
}

templating::Escape BodyEscapeFor(std::string_view bodyEscape, std::string_view contentType) {
  if (auto const named = templating::EscapeFromName(bodyEscape)) {
    return *named;
  }
  // The media type without parameters: "application/json; charset=utf-8".
  std::string const type = Lower(network::Trim(contentType.substr(0, contentType.find(';'))));
  if (type == "application/json" || (type.starts_with("application/") && type.ends_with("+json"))) {
    return templating::Escape::Json;
  }
  if (type == "text/html") {
    return templating::Escape::Html;
  }
  return templating::Escape::None;
}

std::vector<std::string> PasswordsIn(std::string const& uri) {
  std::unique_ptr<CURLU, UrlDeleter> const url(curl_url());
  if (!url) {
    throw std::bad_alloc();
  }
  std::vector<std::string> passwords;
  if (curl_url_set(url.get(), CURLUPART_URL, uri.c_str(), 0) == CURLUE_OK) {
    for (unsigned int const flags : {0U, static_cast<unsigned int>(CURLU_URLDECODE)}) {
      std::string password = Part(url.get(), CURLUPART_PASSWORD, flags);
      if (!password.empty() && std::find(passwords.begin(), passwords.end(), password) == passwords.end()) {
        passwords.push_back(std::move(password));
      }
    }
  }
  return passwords;
}

std::optional<network::Failure> CheckUri(std::string const& uri) {
  std::unique_ptr<CURLU, UrlDeleter> const url(curl_url());
  if (!url) {
    throw std::bad_alloc();
  }
  CURLUcode const parsed = curl_url_set(url.get(), CURLUPART_URL, uri.c_str(), 0);
  if (parsed != CURLUE_OK) {
    return network::Failure{Code::RequestUriUnparsable,
                            "the address '" + RedactUri(uri) + "' does not parse: " + curl_url_strerror(parsed)};
  }
  std::string const scheme = Part(url.get(), CURLUPART_SCHEME);
  if (scheme != "http" && scheme != "https") {
    return network::Failure{Code::RequestUriUnparsable, "the address '" + RedactUri(uri) + "' has the scheme '" +
                                                            scheme + "'; only http and https are sent"};
  }
  if (Part(url.get(), CURLUPART_HOST).empty()) {
    return network::Failure{Code::RequestUriUnparsable, "the address '" + RedactUri(uri) + "' has no host"};
  }
  return std::nullopt;
}

std::variant<RequestMessage, network::Failure> Render(RequestTemplate const& request, mstch::map const& data) {
  RequestMessage message;
  message.method = request.method;
  message.uri = std::string(network::Trim(request.uri.Render(data)));
  if (message.uri.empty()) {
    return network::Failure{Code::RequestUriEmpty, "the address is empty once rendered"};
  }
  if (auto failure = CheckUri(message.uri)) {
    return *std::move(failure);
  }
  bool const sendsBody = SendsBody(request.method);
  bool const typeSet = std::any_of(request.headers.begin(), request.headers.end(),
                                   [](HeaderTemplate const& h) { return SameIgnoringCase(h.name, "Content-Type"); });
  if (sendsBody && !typeSet && !request.contentType.empty()) {
    message.headers.push_back("Content-Type: " + network::WithoutLineBreaks(request.contentType));
  }
  for (HeaderTemplate const& header : request.headers) {
    message.headers.push_back(header.name + ": " + network::WithoutLineBreaks(header.value.Render(data)));
  }
  if (sendsBody) {
    message.body = request.body.Render(data);
  }
  return message;
}

}  // namespace orv::plugins::request
