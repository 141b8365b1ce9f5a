#include "orv/templating/escape.hpp"

namespace orv::templating {
namespace {

// Appends `text` with the bytes for which `replace` gives a replacement
// replaced, copying the runs in between in one piece each.
template <class Replace>
void AppendReplaced(std::string& out, std::string_view text, Replace replace) {
  std::size_t run = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string_view const replacement = replace(static_cast<unsigned char>(text[i]));
    if (replacement.empty()) {
      continue;
    }
    out.append(text.data() + run, i - run);
    out.append(replacement);
    run = i + 1;
  }
  out.append(text.data() + run, text.size() - run);
}

std::string_view HtmlEntity(unsigned char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return {};
  }
}

// The JSON escape of every byte below 0x20, and of " and \.
struct JsonEscapes {
  char text[0x20][7] = {};

  constexpr JsonEscapes() {
    constexpr char kHex[] = "0123456789abcdef";
    for (unsigned c = 0; c < 0x20; ++c) {
      char* const out = text[c];
      out[0] = '\\';
      out[1] = 'u';
      out[2] = '0';
      out[3] = '0';
      out[4] = kHex[c >> 4];
      out[5] = kHex[c & 0xF];
    }
    auto const shortForm = [this](unsigned c, char letter) {
      text[c][1] = letter;
      text[c][2] = '\0';
    };
    shortForm('\b', 'b');
    shortForm('\f', 'f');
    shortForm('\n', 'n');
    shortForm('\r', 'r');
    shortForm('\t', 't');
  }
};

constexpr JsonEscapes kJsonEscapes;

std::string_view JsonEscape(unsigned char c) {
  if (c < 0x20) {
    return kJsonEscapes.text[c];
  }
  switch (c) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    default:
      return {};
  }
}

bool IsUnreserved(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

void AppendPercentEncoded(std::string& out, std::string_view text) {
  constexpr char kHex[] = "0123456789ABCDEF";
  for (char const byte : text) {
    auto const c = static_cast<unsigned char>(byte);
    if (IsUnreserved(c)) {
      out.push_back(byte);
    } else {
      char const encoded[3] = {'%', kHex[c >> 4], kHex[c & 0xF]};
      out.append(encoded, 3);
    }
  }
}

}  // namespace

void AppendEscaped(std::string& out, std::string_view text, Escape escape) {
  switch (escape) {
    case Escape::None:
      out.append(text);
      return;
    case Escape::Html:
      AppendReplaced(out, text, HtmlEntity);
      return;
    case Escape::Url:
      AppendPercentEncoded(out, text);
      return;
    case Escape::Json:
      AppendReplaced(out, text, JsonEscape);
      return;
  }
  out.append(text);
}

}  // namespace orv::templating

namespace orv::templating {
namespace {

struct NamedEscape {
  std::string_view name;
  Escape escape;
};
constexpr NamedEscape kNames[] = {
    {"none", Escape::None}, {"html", Escape::Html}, {"url", Escape::Url}, {"json", Escape::Json}};

}  // namespace

std::optional<Escape> EscapeFromName(std::string_view name) noexcept {
  for (auto const& named : kNames) {
    if (named.name == name) {
      return named.escape;
    }
  }
  return std::nullopt;
}

char const* GetName(Escape escape) noexcept {
  for (auto const& named : kNames) {
    if (named.escape == escape) {
      return named.name.data();
    }
  }
  return "none";
}

}  // namespace orv::templating
