#include "json_input.hpp"

#include <algorithm>
#include <iterator>
#include <optional>

#include "errors.hpp"
#include "limits.hpp"
#include "message_text.hpp"

namespace orv::tool {
namespace {

using Json = nlohmann::json;

// Walks the text for the parser and counts the bytes it has taken, so that
// the SAX handlers below know how far the parser has read at each event.
class CountingIterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = char const*;
  using reference = char const&;

  CountingIterator() = default;
  CountingIterator(char const* position, std::size_t* consumed) : position_(position), consumed_(consumed) {}

  reference operator*() const { return *position_; }
  CountingIterator& operator++() {
    ++position_;
    ++*consumed_;
    return *this;
  }
  CountingIterator operator++(int) {
    CountingIterator const before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(CountingIterator const& a, CountingIterator const& b) { return a.position_ == b.position_; }

 private:
  char const* position_ = nullptr;
  std::size_t* consumed_ = nullptr;
};

// The open containers of a parse and where the value being read goes.
struct Frame {
  bool array;
  std::size_t elements = 0;  // of an array: how many were read
  std::string key;           // of an object: the member being read
};

// The base of both handlers: the offset where each value starts and the
// path to it. The parser reports a value once it has read it whole, and
// reads at most one byte past a token (after a number); that byte is
// whitespace, ',', ']', '}' or the end, so the value starts at the first
// byte after the previous event's end that is not whitespace, ',' or ':'.
class Follower : public nlohmann::json_sax<Json> {
 public:
  explicit Follower(std::string const& text) : text_(text) {}

  // Parses the whole text with this handler; the result of sax_parse.
  bool Parse() {
    char const* const begin = text_.data();
    return Json::sax_parse(CountingIterator(begin, &consumed_), CountingIterator(begin + text_.size(), &consumed_),
                           this);
  }

  bool null() override { return Scalar(nullptr); }
  bool boolean(bool value) override { return Scalar(value); }
  bool number_integer(number_integer_t value) override { return Scalar(value); }
  bool number_unsigned(number_unsigned_t value) override { return Scalar(value); }
  bool number_float(number_float_t value, string_t const&) override { return Scalar(value); }
  bool string(string_t& value) override { return Scalar(std::move(value)); }
  bool binary(binary_t&) override { return false; }  // JSON text holds none

  bool start_object(std::size_t) override { return Open(false); }
  bool start_array(std::size_t) override { return Open(true); }
  bool end_object() override { return Close(); }
  bool end_array() override { return Close(); }

  bool key(string_t& name) override {
    std::size_t const start = TokenStart();
    bool const go = OnKey(name, start);
    frames_.back().key = std::move(name);
    previousEnd_ = consumed_;
    return go;
  }

 protected:
  // A value starting at `start`, read whole (a scalar) or opened (a
  // container, whose frame is not pushed yet). Returns whether to go on.
  virtual bool OnValue(Json&& scalar, bool container, bool array, std::size_t start) = 0;
  virtual bool OnKey(std::string const& name, std::size_t start) = 0;
  virtual void OnClose() {}

  std::vector<Frame> const& Frames() const noexcept { return frames_; }

  // The path of the value being read now: the open containers' slots.
  JsonPath CurrentPath() const {
    JsonPath path;
    for (Frame const& frame : frames_) {
      if (frame.array) {
        path.emplace_back(frame.elements - 1);
      } else {
        path.emplace_back(frame.key);
      }
    }
    return path;
  }

 private:
  std::size_t TokenStart() const {
    std::size_t start = previousEnd_;
    while (start < text_.size() && (text_[start] == ' ' || text_[start] == '\t' || text_[start] == '\n' ||
                                    text_[start] == '\r' || text_[start] == ',' || text_[start] == ':')) {
      ++start;
    }
    return start;
  }

  void Enter() {
    if (!frames_.empty() && frames_.back().array) {
      ++frames_.back().elements;
    }
  }

  bool Scalar(Json&& value) {
    std::size_t const start = TokenStart();
    Enter();
    bool const go = OnValue(std::move(value), false, false, start);
    previousEnd_ = consumed_;
    return go;
  }

  bool Open(bool array) {
    std::size_t const start = TokenStart();
    Enter();
    bool const go = OnValue(nullptr, true, array, start);
    frames_.push_back(Frame{array, 0, {}});
    previousEnd_ = consumed_;
    return go;
  }

  bool Close() {
    OnClose();
    frames_.pop_back();
    previousEnd_ = consumed_;
    return true;
  }

  std::string const& text_;
  std::size_t consumed_ = 0;
  std::size_t previousEnd_ = 0;
  std::vector<Frame> frames_;
};

// Builds the document, enforcing the depth limit and unique keys.
class Builder final : public Follower {
 public:
  explicit Builder(SourceText const& source) : Follower(source.Text()), source_(source) {}

  Json Take() { return std::move(root_); }

  bool parse_error(std::size_t position, std::string const&, nlohmann::detail::exception const& error) override {
    // "[json.exception.parse_error.101] parse error at line 1, column 2: <what>": keep <what>.
    std::string message = error.what();
    if (auto const colon = message.find(": "); colon != std::string::npos) {
      message.erase(0, colon + 2);
    }
    throw InputError(source_.Place(position == 0 ? 0 : position - 1) + ": " + message);
  }

 private:
  bool OnValue(Json&& scalar, bool container, bool array, std::size_t start) override {
    if (container && Frames().size() == limits::kJsonDepth) {
      throw InputError(source_.Place(start) + ": nesting deeper than " + std::to_string(limits::kJsonDepth) +
                       " levels of arrays and objects, the limit of a JSON input");
    }
    Json value = container ? (array ? Json::array() : Json::object()) : std::move(scalar);
    Json* placed = nullptr;
    if (Frames().empty()) {
      root_ = std::move(value);
      placed = &root_;
    } else if (Frames().back().array) {
      open_.back()->push_back(std::move(value));
      placed = &open_.back()->back();
    } else {
      *member_ = std::move(value);
      placed = member_;
    }
    if (container) {
      open_.push_back(placed);
    }
    return true;
  }

  bool OnKey(std::string const& name, std::size_t start) override {
    Json& object = *open_.back();
    if (object.contains(name)) {
      JsonPath path = CurrentPath();
      path.back() = name;
      throw InputError(source_.Place(start) + ": " + ToText(path) + ": duplicate key '" + Shorten(name) + "'");
    }
    member_ = &object[name];
    return true;
  }

  void OnClose() override { open_.pop_back(); }

  SourceText const& source_;
  Json root_;
  std::vector<Json*> open_;  // the open containers; an array's elements may move, the array itself does not
  Json* member_ = nullptr;   // the member that the next value of an object fills
};

// Finds where the value at one path starts, then stops the parse.
class Finder final : public Follower {
 public:
  Finder(std::string const& text, JsonPath const& target) : Follower(text), target_(target) {}

  std::optional<std::size_t> Found() const noexcept { return found_; }

  bool parse_error(std::size_t, std::string const&, nlohmann::detail::exception const&) override { return false; }

 private:
  bool OnValue(Json&&, bool container, bool, std::size_t start) override {
    std::size_t const depth = Frames().size();
    bool onTarget = depth == 0 || (onTarget_.back() && Matches(depth - 1));
    if (onTarget && depth == target_.size()) {
      found_ = start;
      return false;
    }
    if (container) {
      onTarget_.push_back(onTarget && depth < target_.size());
    }
    return true;
  }

  bool OnKey(std::string const&, std::size_t) override { return true; }
  void OnClose() override { onTarget_.pop_back(); }

  // Whether the slot being read in the open container at `level` is the
  // target's step at that level.
  bool Matches(std::size_t level) const {
    Frame const& frame = Frames()[level];
    if (frame.array) {
      auto const* index = std::get_if<std::size_t>(&target_[level]);
      return index != nullptr && *index == frame.elements - 1;
    }
    auto const* name = std::get_if<std::string>(&target_[level]);
    return name != nullptr && *name == frame.key;
  }

  JsonPath const& target_;
  std::vector<bool> onTarget_;  // per open container: whether its path is a prefix of the target
  std::optional<std::size_t> found_;
};

bool IsPlainWord(std::string const& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  });
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  if (c >= 'A' && c <= 'F') {
    return c - 'A' + 10;
  }
  return -1;
}

// The code unit of the \uXXXX escape at `offset`, or -1.
long CodeUnitAt(std::string const& text, std::size_t offset) {
  if (offset + 6 > text.size() || text[offset] != '\\' || text[offset + 1] != 'u') {
    return -1;
  }
  long unit = 0;
  for (std::size_t i = offset + 2; i < offset + 6; ++i) {
    int const digit = HexDigit(text[i]);
    if (digit < 0) {
      return -1;
    }
    unit = unit * 16 + digit;
  }
  return unit;
}

}  // namespace

std::string ToText(JsonPath const& path) {
  std::string text = "$";
  for (auto const& step : path) {
    if (auto const* index = std::get_if<std::size_t>(&step)) {
      text += "[" + std::to_string(*index) + "]";
    } else if (auto const& name = std::get<std::string>(step); IsPlainWord(name) && name.size() <= 60) {
      text += "." + name;
    } else {
      text += "[" + Quote(name) + "]";
    }
  }
  return text;
}

Json ParseJson(SourceText const& source) {
  if (std::size_t const nul = source.Text().find('\0'); nul != std::string::npos) {
    throw InputError(source.Place(nul) + ": a NUL byte, which JSON text cannot hold");
  }
  Builder builder(source);
  builder.Parse();
  return builder.Take();
}

std::size_t FindValue(SourceText const& source, JsonPath const& path) {
  Finder finder(source.Text(), path);
  finder.Parse();
  return finder.Found().value_or(source.Text().size());
}

std::size_t FindInString(SourceText const& source, std::size_t stringOffset, std::size_t line, std::size_t column) {
  std::string const& text = source.Text();
  std::size_t at = stringOffset + 1;
  std::size_t atLine = 1;
  std::size_t atColumn = 1;
  while (at < text.size() && text[at] != '"') {
    if (atLine == line && atColumn == column) {
      return at;
    }
    bool newline = false;
    if (text[at] == '\\' && at + 1 < text.size()) {
      long const unit = CodeUnitAt(text, at);
      newline = text[at + 1] == 'n' || unit == '\n';
      if (unit < 0) {
        at += 2;
      } else {
        at += 6;
        // A surrogate pair is one character.
        long const low = unit >= 0xD800 && unit <= 0xDBFF ? CodeUnitAt(text, at) : -1;
        if (low >= 0xDC00 && low <= 0xDFFF) {
          at += 6;
        }
      }
    } else {
      newline = text[at] == '\n';
      do {
        ++at;
      } while (at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U);
    }
    if (newline) {
      ++atLine;
      atColumn = 1;
    } else {
      ++atColumn;
    }
  }
  return at;
}

}  // namespace orv::tool
