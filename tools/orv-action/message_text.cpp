#include "message_text.hpp"

#include <cstddef>

#include "limits.hpp"

namespace orv::tool {
namespace {

bool StartsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }

// The length in bytes of the first `count` characters of `text` (all of it
// when it has fewer).
std::size_t PrefixBytes(std::string_view text, std::size_t count) {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (StartsCharacter(text[i]) && characters++ == count) {
      return i;
    }
  }
  return text.size();
}

// Writes JSON until the text is longer than can be shown, then stops.
class BoundedWriter {
 public:
  bool Full() const { return PrefixBytes(text_, limits::kQuotedCharacters) < text_.size(); }

  void Append(std::string_view piece) { text_.append(piece); }

  void AppendString(std::string const& value) {
    // One character more than can be shown tells Shorten to cut.
    std::string const shown = value.substr(0, PrefixBytes(value, limits::kQuotedCharacters + 1));
    Append(nlohmann::json(shown).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  }

  void AppendScalar(nlohmann::json const& value) {
    if (value.is_string()) {
      AppendString(value.get_ref<std::string const&>());
    } else {
      Append(value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    }
  }

  std::string const& Text() const { return text_; }

 private:
  std::string text_;
};

bool IsContainer(nlohmann::json const& value) { return value.is_object() || value.is_array(); }

}  // namespace

std::string Join(std::vector<std::string_view> const& names) {
  std::string joined;
  for (std::string_view const name : names) {
    joined.append(joined.empty() ? "" : ", ").append(name);
  }
  return joined.empty() ? "(none)" : joined;
}

std::string Join(std::vector<std::string> const& names) {
  return Join(std::vector<std::string_view>(names.begin(), names.end()));
}

std::string Shorten(std::string_view text) {
  std::size_t const shown = PrefixBytes(text, limits::kQuotedCharacters);
  if (shown == text.size()) {
    return std::string(text);
  }
  return std::string(text.substr(0, shown)) + "...";
}

std::string Quote(nlohmann::json const& value) {
  BoundedWriter writer;
  if (!IsContainer(value)) {
    writer.AppendScalar(value);
    return Shorten(writer.Text());
  }
  // Depth first without recursion: the stack holds the open containers.
  struct Open {
    nlohmann::json const* container;
    nlohmann::json::const_iterator next;
  };
  std::vector<Open> open{{&value, value.cbegin()}};
  writer.Append(value.is_object() ? "{" : "[");
  while (!open.empty() && !writer.Full()) {
    Open& top = open.back();
    if (top.next == top.container->cend()) {
      writer.Append(top.container->is_object() ? "}" : "]");
      open.pop_back();
      continue;
    }
    if (top.next != top.container->cbegin()) {
      writer.Append(",");
    }
    if (top.container->is_object()) {
      writer.AppendString(top.next.key());
      writer.Append(":");
    }
    nlohmann::json const& element = *top.next;
    ++top.next;
    if (IsContainer(element)) {
      writer.Append(element.is_object() ? "{" : "[");
      open.push_back({&element, element.cbegin()});
    } else {
      writer.AppendScalar(element);
    }
  }
  return Shorten(writer.Text());
}

}  // namespace orv::tool
