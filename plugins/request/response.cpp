#include "request/response.hpp"

#include <charconv>
#include <stdexcept>

#include "network/text.hpp"

namespace orv::plugins::request {
namespace {

using action::exception::Code;

[[noreturn]] void Refuse(std::string_view text) {
  throw std::invalid_argument("expected_status '" + std::string(text) +
                              "' is not a comma-separated list of status codes (100 to 599) and classes (1xx to 5xx)");
}

}  // namespace

ExpectedStatus::ExpectedStatus() : text_("2xx"), classes_{2} {}

ExpectedStatus::ExpectedStatus(std::string_view text) : text_(text) {
  std::string_view rest = text;
  while (true) {
    auto const comma = rest.find(',');
    std::string_view const item = network::Trim(rest.substr(0, comma));
    if (item.size() != 3) {
      Refuse(text);
    }
    if ((item[1] == 'x' || item[1] == 'X') && (item[2] == 'x' || item[2] == 'X') && item[0] >= '1' && item[0] <= '5') {
      classes_.push_back(item[0] - '0');
    } else {
      long code = 0;
      auto const [end, error] = std::from_chars(item.data(), item.data() + item.size(), code);
      if (error != std::errc() || end != item.data() + item.size() || code < 100 || code > 599) {
        Refuse(text);
      }
      codes_.push_back(code);
    }
    if (comma == std::string_view::npos) {
      return;
    }
    rest = rest.substr(comma + 1);
  }
}

bool ExpectedStatus::Accepts(long status) const noexcept {
  for (long const code : codes_) {
    if (code == status) {
      return true;
    }
  }
  for (long const hundreds : classes_) {
    if (status / 100 == hundreds && status >= 100) {
      return true;
    }
  }
  return false;
}

void KeepBodyStart(std::string& body, std::string_view data) {
  if (body.size() < kBodyExcerpt + 1) {
    body.append(data.substr(0, kBodyExcerpt + 1 - body.size()));
  }
}

std::optional<network::Failure> CheckResponse(long status, std::string_view body, ExpectedStatus const& expected) {
  if (expected.Accepts(status)) {
    return std::nullopt;
  }
  // The expected statuses as the action was given them, on one line: spaces
  // and line breaks may stand around each item.
  std::string detail = "HTTP status " + std::to_string(status) + ", expected " +
                       network::Excerpt(expected.GetText(), expected.GetText().size());
  if (!body.empty()) {
    detail += ": " + network::Excerpt(body, kBodyExcerpt);
  }
  return network::Failure{Code::RequestFailed, std::move(detail), status};
}

network::Failure FailureOf(CURLcode code, std::string_view errorText) {
  std::string detail(errorText);
  switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return {Code::RequestHostNotResolved, std::move(detail)};
    case CURLE_OPERATION_TIMEDOUT:
      return {Code::RequestConnectionTimedOut, std::move(detail)};
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CLIENTCERT:
      return {Code::RequestTlsHandshakeFailed, std::move(detail)};
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return {Code::RequestCertificateVerificationFailed, std::move(detail)};
    default:
      return {Code::RequestFailed, std::move(detail)};
  }
}

}  // namespace orv::plugins::request
