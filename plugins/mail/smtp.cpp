#include "mail/smtp.hpp"

#include <algorithm>
#include <memory>

#include "network/text.hpp"

namespace orv::plugins::mail {
namespace {

using action::exception::Code;

struct List {
  curl_slist* list = nullptr;
  List() = default;
  List(List const&) = delete;
  List& operator=(List const&) = delete;
  ~List() { curl_slist_free_all(list); }
  void Add(std::string const& item) {
    curl_slist* extended = curl_slist_append(list, item.c_str());
    if (extended == nullptr) {
      throw std::bad_alloc();
    }
    list = extended;
  }
};

struct Upload {
  std::string_view rest;
};

std::size_t ReadText(char* buffer, std::size_t size, std::size_t count, void* source) {
  auto& upload = *static_cast<Upload*>(source);
  std::size_t const bytes = std::min(size * count, upload.rest.size());
  std::copy_n(upload.rest.data(), bytes, buffer);
  upload.rest.remove_prefix(bytes);
  return bytes;
}

bool IsRefusal(std::string_view reply) { return !reply.empty() && (reply[0] == '4' || reply[0] == '5'); }

// What the server says goes to KeepReply; what the client sends (the AUTH
// exchange among it) is never looked at.
int KeepServerReply(CURL*, curl_infotype type, char* data, std::size_t size, void* target) {
  if (type == CURLINFO_HEADER_IN) {
    KeepReply(*static_cast<std::string*>(target), std::string_view(data, size));
  }
  return 0;
}

bool IsTlsFailure(CURLcode code) {
  switch (code) {
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_CLIENTCERT:
    case CURLE_USE_SSL_FAILED:
      return true;
    default:
      return false;
  }
}

struct UrlDeleter {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};

// smtp://host:port or smtps://host:port; nullopt when the host is no host name.
std::optional<std::string> ServerUrl(MailSettings const& settings) {
  std::unique_ptr<CURLU, UrlDeleter> const url(curl_url());
  if (!url) {
    throw std::bad_alloc();
  }
  std::string const port = std::to_string(settings.port != 0 ? settings.port : DefaultPort(settings.security));
  if (curl_url_set(url.get(), CURLUPART_SCHEME, settings.security == "tls" ? "smtps" : "smtp", 0) != CURLUE_OK ||
      curl_url_set(url.get(), CURLUPART_HOST, settings.host.c_str(), 0) != CURLUE_OK ||
      curl_url_set(url.get(), CURLUPART_PORT, port.c_str(), 0) != CURLUE_OK) {
    return std::nullopt;
  }
  char* text = nullptr;
  if (curl_url_get(url.get(), CURLUPART_URL, &text, 0) != CURLUE_OK) {
    return std::nullopt;
  }
  std::string result(text);
  curl_free(text);
  return result;
}

}  // namespace

void KeepReply(std::string& kept, std::string_view data) {
  std::string_view const line = network::Trim(data);
  if (!line.empty() && (IsRefusal(line) || !IsRefusal(kept))) {
    kept = network::Excerpt(line, 200);
  }
}

std::int64_t DefaultPort(std::string_view security) noexcept {
  return security == "tls" ? 465 : security == "starttls" ? 587 : 25;
}

network::Failure FailureOf(CURLcode code, std::string_view errorText, std::string_view lastReply, bool connected) {
  std::string detail(errorText);
  if (!lastReply.empty()) {
    detail += "; the server said: " + std::string(lastReply);
  }
  if (code == CURLE_COULDNT_RESOLVE_HOST) {
    return {Code::MailHostNotResolved, std::move(detail)};
  }
  if (code == CURLE_COULDNT_CONNECT || IsTlsFailure(code)) {
    return {Code::MailCouldntConnect, std::move(detail)};
  }
  if (code == CURLE_LOGIN_DENIED) {
    return {Code::MailLoginFailed, std::move(detail)};
  }
  if (code == CURLE_OPERATION_TIMEDOUT) {
    return {connected ? Code::MailSendTimedOut : Code::MailConnectionTimedOut, std::move(detail)};
  }
  return {Code::MailCouldntSendData, std::move(detail)};
}

std::optional<network::Failure> Send(network::CurlPool& pool, MailMessage const& mail, std::string const& text,
                                     MailSettings const& settings) {
  if (network::Trim(settings.host).empty()) {
    return network::Failure{Code::MailHostEmpty, "the host is empty"};
  }
  std::optional<std::string> const url = ServerUrl(settings);
  if (!url) {
    return network::Failure{Code::MailHostNotResolved, "the host '" + settings.host + "' is not a host name"};
  }
  if (mail.to.empty() && mail.cc.empty() && mail.bcc.empty()) {
    return network::Failure{Code::MailCouldntSendData, "the mail has no recipient: to, cc and bcc are empty"};
  }
  if (mail.from.empty()) {
    return network::Failure{Code::MailCouldntSendData, "the mail has no sender: from is empty"};
  }
  network::CurlPool::Lease const lease = pool.Acquire();
  CURL* const handle = lease.Get();
  char error[CURL_ERROR_SIZE];
  network::Configure(handle, settings.connection, error);
  curl_easy_setopt(handle, CURLOPT_URL, url->c_str());
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "smtp,smtps");
  if (settings.security == "starttls") {
    curl_easy_setopt(handle, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
  }
  if (!settings.username.empty()) {
    curl_easy_setopt(handle, CURLOPT_USERNAME, settings.username.c_str());
    curl_easy_setopt(handle, CURLOPT_PASSWORD, settings.password.c_str());
  }
  std::string const sender = "<" + mail.from + ">";
  curl_easy_setopt(handle, CURLOPT_MAIL_FROM, sender.c_str());
  List recipients;
  for (auto const* list : {&mail.to, &mail.cc, &mail.bcc}) {
    for (std::string const& address : *list) {
      recipients.Add("<" + address + ">");
    }
  }
  curl_easy_setopt(handle, CURLOPT_MAIL_RCPT, recipients.list);

  Upload upload{text};
  curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
  curl_easy_setopt(handle, CURLOPT_READFUNCTION, &ReadText);
  curl_easy_setopt(handle, CURLOPT_READDATA, &upload);
  curl_easy_setopt(handle, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(text.size()));

  std::string lastReply;
  curl_easy_setopt(handle, CURLOPT_DEBUGFUNCTION, &KeepServerReply);
  curl_easy_setopt(handle, CURLOPT_DEBUGDATA, &lastReply);
  curl_easy_setopt(handle, CURLOPT_VERBOSE, 1L);

  CURLcode const code = curl_easy_perform(handle);
  if (code == CURLE_OK) {
    return std::nullopt;
  }
  return FailureOf(code, network::ErrorText(code, error), lastReply, network::Connected(handle));
}

}  // namespace orv::plugins::mail
