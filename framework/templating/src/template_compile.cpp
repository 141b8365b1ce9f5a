#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "template_program.hpp"

namespace orv::templating::detail {
namespace {

// Whitespace that may stand around a standalone tag on its line.
bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Whitespace that may pad a tag's name.
bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsSpace(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && IsSpace(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

std::string Quoted(std::string_view text) {
  std::string quoted;
  quoted.reserve(text.size() + 2);
  quoted += '"';
  quoted += text;
  quoted += '"';
  return quoted;
}

enum class Tag { Escaped, Triple, Ampersand, Section, Inverted, Close, Comment, Partial, Delimiters };

// Only these may stand alone on a line, which then leaves no trace.
bool MayStandAlone(Tag tag) { return tag != Tag::Escaped && tag != Tag::Triple && tag != Tag::Ampersand; }

// Turns source offsets into lines and columns. Offsets mostly grow while a
// source is compiled, so it walks on from the last one, counting the column
// as it goes: a line with many tags is read once, not once per tag.
class Locator {
 public:
  explicit Locator(std::string_view source) : source_(source) {}

  struct Position {
    std::size_t line;
    std::size_t column;
  };

  Position operator()(std::size_t offset) {
    if (offset < offset_) {
      offset_ = 0;
      line_ = 1;
      column_ = 1;
    }
    for (; offset_ < offset; ++offset_) {
      auto const byte = static_cast<unsigned char>(source_[offset_]);
      if (byte == '\n') {
        ++line_;
        column_ = 1;
      } else if ((byte & 0xC0U) != 0x80U) {
        ++column_;  // UTF-8 continuation bytes belong to the character before them
      }
    }
    return {line_, column_};
  }

 private:
  std::string_view source_;
  std::size_t offset_ = 0;
  std::size_t line_ = 1;
  std::size_t column_ = 1;
};

// Numbers the first segments of names across the template and its partials.
using Keys = std::unordered_map<std::string, std::uint32_t>;

class Compiler {
 public:
  Compiler(Program& program, Keys& keys, std::uint32_t body, std::string_view source)
      : program_(program), keys_(keys), body_(body), source_(source), locate_(source) {}

  void Run() {
    if (source_.size() > kMaxTemplateSize) {
      Fail(kMaxTemplateSize, "the text is " + std::to_string(source_.size()) + " bytes long; at most " +
                                 std::to_string(kMaxTemplateSize) + " bytes (1 MiB) are allowed");
    }
    std::size_t textBegin = 0;
    std::size_t position = 0;
    while (true) {
      std::size_t const tagBegin = source_.find(open_, position);
      if (tagBegin == std::string_view::npos) {
        break;
      }
      TagText const text = ReadTag(tagBegin);
      Line const line = FindLine(text);
      if (line.standalone) {
        EmitText(textBegin, line.begin);
      } else {
        EmitText(textBegin, tagBegin);
        if (indents_ && IsLineStart(tagBegin)) {
          Emit({Op::Indent});
        }
      }
      AddTag(text, line);
      textBegin = position = line.standalone ? line.end : text.end;
    }
    EmitText(textBegin, source_.size());
    if (!openSections_.empty()) {
      OpenSection const& section = openSections_.back();
      Fail(section.offset,
           "unclosed section " + Quoted(section.name) + ": expected " + Quoted(open_ + "/" + section.name + close_));
    }
  }

 private:
  // Where a tag lies in the source, and its kind.
  struct TagText {
    Tag tag = Tag::Escaped;
    std::size_t begin = 0;         // the opening delimiter
    std::size_t contentBegin = 0;  // after the delimiter and the sigil
    std::size_t contentEnd = 0;    // the closer
    std::size_t end = 0;           // after the closer
    std::string closer;            // the closing delimiter, with the "}" or "=" of its kind
  };

  // The line of a tag, when the tag stands alone on it.
  struct Line {
    bool standalone = false;
    std::size_t begin = 0;  // the first blank before the tag
    std::size_t end = 0;    // after the line's end
  };

  TagText ReadTag(std::size_t tagBegin) {
    TagText text;
    text.begin = tagBegin;
    text.contentBegin = tagBegin + open_.size();
    text.closer = close_;
    if (text.contentBegin < source_.size()) {
      switch (source_[text.contentBegin]) {
        case '{':
          text.tag = Tag::Triple;
          text.closer = "}" + close_;
          break;
        case '&':
          text.tag = Tag::Ampersand;
          break;
        case '#':
          text.tag = Tag::Section;
          break;
        case '^':
          text.tag = Tag::Inverted;
          break;
        case '/':
          text.tag = Tag::Close;
          break;
        case '!':
          text.tag = Tag::Comment;
          break;
        case '>':
          text.tag = Tag::Partial;
          break;
        case '=':
          text.tag = Tag::Delimiters;
          text.closer = "=" + close_;
          break;
        default:
          break;
      }
      text.contentBegin += text.tag == Tag::Escaped ? 0 : 1;
    }
    text.contentEnd = source_.find(text.closer, text.contentBegin);
    if (text.contentEnd == std::string_view::npos) {
      Fail(tagBegin, "unclosed tag: expected " + Quoted(text.closer));
    }
    text.end = text.contentEnd + text.closer.size();
    return text;
  }

  // A standalone tag takes its whole line with it: the blanks before it, the
  // blanks after it and the line's end ("\n", "\r\n" or the end of the source).
  Line FindLine(TagText const& text) const {
    Line line;
    line.begin = text.begin;
    while (line.begin > 0 && IsBlank(source_[line.begin - 1])) {
      --line.begin;
    }
    if (!MayStandAlone(text.tag) || !IsLineStart(line.begin)) {
      return line;
    }
    line.end = text.end;
    while (line.end < source_.size() && IsBlank(source_[line.end])) {
      ++line.end;
    }
    if (line.end == source_.size()) {
      line.standalone = true;
    } else if (source_[line.end] == '\n') {
      line.standalone = true;
      line.end += 1;
    } else if (source_.compare(line.end, 2, "\r\n") == 0) {
      line.standalone = true;
      line.end += 2;
    }
    return line;
  }

  void AddTag(TagText const& text, Line const& line) {
    std::size_t const contentBegin = text.contentBegin;
    std::size_t const tagBegin = text.begin;
    std::string const& closer = text.closer;
    std::string_view const content = source_.substr(contentBegin, text.contentEnd - contentBegin);
    switch (text.tag) {
      case Tag::Escaped:
        Emit({Op::Escaped, false, AddName(content, contentBegin, tagBegin, closer)});
        break;
      case Tag::Triple:
      case Tag::Ampersand:
        Emit({Op::Raw, false, AddName(content, contentBegin, tagBegin, closer)});
        break;
      case Tag::Section:
      case Tag::Inverted: {
        std::uint32_t const name = AddName(content, contentBegin, tagBegin, closer);
        if (openSections_.size() == kMaxSectionDepth) {
          Fail(tagBegin, "section " + Quoted(Own().names[name].text) + " would open level " +
                             std::to_string(kMaxSectionDepth + 1) + "; sections nest at most " +
                             std::to_string(kMaxSectionDepth) + " levels deep");
        }
        openSections_.push_back({Code().size(), Own().names[name].text, tagBegin});
        Emit({text.tag == Tag::Section ? Op::Section : Op::Inverted, false, name});
        break;
      }
      case Tag::Close:
        CloseSection(ParseName(content, contentBegin, tagBegin, closer), tagBegin);
        break;
      case Tag::Comment:
        break;
      case Tag::Partial:
        AddPartial(ParseName(content, contentBegin, tagBegin, closer), line, tagBegin);
        break;
      case Tag::Delimiters:
        SetDelimiters(content, tagBegin);
        break;
    }
  }

  struct OpenSection {
    std::size_t instruction;
    std::string name;
    std::size_t offset;
  };

  Body& Own() { return program_.bodies[body_]; }
  std::vector<Instruction>& Code() { return Own().code; }

  bool IsLineStart(std::size_t offset) const { return offset == 0 || source_[offset - 1] == '\n'; }

  [[noreturn]] void Fail(std::size_t offset, std::string const& message) {
    Locator::Position const position = locate_(offset);
    throw SyntaxError(program_.bodies[body_].partial, position.line, position.column, message);
  }

  void Emit(Instruction instruction) {
    Code().push_back(instruction);
    textOpen_ = false;
  }

  // Static text; inside a partial split into lines, each led by an Indent.
  void EmitText(std::size_t begin, std::size_t end) {
    while (begin < end) {
      std::size_t lineEnd = end;
      if (indents_) {
        if (IsLineStart(begin)) {
          Emit({Op::Indent});
        }
        // Only up to `end`: a long line of tags must not be searched again for every tag.
        std::size_t const newline = source_.substr(begin, end - begin).find('\n');
        lineEnd = newline != std::string_view::npos ? begin + newline + 1 : end;
      }
      AppendText(source_.substr(begin, lineEnd - begin));
      begin = lineEnd;
    }
  }

  // Text right after text (around a comment, say) joins the same instruction.
  void AppendText(std::string_view text) {
    std::string& pool = Own().pool;
    if (textOpen_ && Code().back().first + Code().back().second == pool.size()) {
      Code().back().second += static_cast<std::uint32_t>(text.size());
    } else {
      Emit({Op::Text, false, static_cast<std::uint32_t>(pool.size()), static_cast<std::uint32_t>(text.size())});
    }
    pool += text;
    textOpen_ = true;
  }

  std::string_view ParseName(std::string_view content, std::size_t contentBegin, std::size_t tagBegin,
                             std::string const& closer) {
    std::string_view const name = Trim(content);
    if (name.empty()) {
      Fail(tagBegin, "empty tag: expected a name");
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
      if (IsSpace(name[i])) {
        std::size_t next = i;
        while (IsSpace(name[next])) {
          ++next;
        }
        std::size_t const offset = contentBegin + static_cast<std::size_t>(name.data() - content.data()) + next;
        Fail(offset, "expected " + Quoted(closer) + " after the name " + Quoted(name.substr(0, i)));
      }
    }
    return name;
  }

  std::uint32_t AddName(std::string_view content, std::size_t contentBegin, std::size_t tagBegin,
                        std::string const& closer) {
    std::string_view const text = ParseName(content, contentBegin, tagBegin, closer);
    Name name;
    name.text = text;
    if (text != ".") {
      std::size_t begin = 0;
      while (true) {
        std::size_t const dot = text.find('.', begin);
        name.segments.emplace_back(text.substr(begin, dot - begin));
        if (dot == std::string_view::npos) {
          break;
        }
        begin = dot + 1;
      }
      auto const key = keys_.try_emplace(name.segments.front(), static_cast<std::uint32_t>(keys_.size())).first;
      name.key = key->second;
    }
    return Add(std::move(name), tagBegin);
  }

  // Adds `name`, placed at the tag at `tagBegin`, to the body's names.
  std::uint32_t Add(Name name, std::size_t tagBegin) {
    Locator::Position const position = locate_(tagBegin);
    name.line = static_cast<std::uint32_t>(position.line);
    name.column = static_cast<std::uint32_t>(position.column);
    Own().names.push_back(std::move(name));
    return static_cast<std::uint32_t>(Own().names.size() - 1);
  }

  void CloseSection(std::string_view name, std::size_t tagBegin) {
    std::string const found = open_ + "/" + std::string(name) + close_;
    if (openSections_.empty()) {
      Fail(tagBegin, "unexpected " + Quoted(found) + ": no section is open");
    }
    OpenSection const& section = openSections_.back();
    if (name != section.name) {
      Locator::Position const opened = locate_(section.offset);
      Fail(tagBegin, "mismatched section end: expected " + Quoted(open_ + "/" + section.name + close_) +
                         " for the section opened at line " + std::to_string(opened.line) + ", column " +
                         std::to_string(opened.column) + ", found " + Quoted(found));
    }
    Code()[section.instruction].second = static_cast<std::uint32_t>(Code().size());
    openSections_.pop_back();
    // Text after the section must not join the last text of its body.
    textOpen_ = false;
  }

  void AddPartial(std::string_view name, Line const& line, std::size_t tagBegin) {
    // The partials' bodies follow the template's in name order.
    auto const partials = program_.bodies.begin() + 1;
    auto const found = std::lower_bound(partials, program_.bodies.end(), name,
                                        [](Body const& body, std::string_view key) { return body.partial < key; });
    if (found == program_.bodies.end() || found->partial != name) {
      // Renders as empty text; kept so that the check can name it.
      Name missing;
      missing.text = name;
      Emit({Op::NoPartial, line.standalone, Add(std::move(missing), tagBegin)});
      return;
    }
    auto const body = static_cast<std::uint32_t>(found - program_.bodies.begin());
    Instruction partial{Op::Partial, line.standalone, body, static_cast<std::uint32_t>(Own().pool.size()), 0};
    if (line.standalone) {
      std::string_view const indentation = source_.substr(line.begin, tagBegin - line.begin);
      Own().pool += indentation;
      partial.third = static_cast<std::uint32_t>(indentation.size());
    }
    Emit(partial);
  }

  void SetDelimiters(std::string_view content, std::size_t tagBegin) {
    std::string_view const pair = Trim(content);
    std::size_t split = 0;
    while (split < pair.size() && !IsSpace(pair[split])) {
      ++split;
    }
    std::string_view const open = pair.substr(0, split);
    std::string_view const close = Trim(pair.substr(split));
    bool const twoWords =
        !open.empty() && !close.empty() && std::find_if(close.begin(), close.end(), IsSpace) == close.end();
    if (!twoWords) {
      Fail(tagBegin, "bad delimiter change: expected two delimiters separated by whitespace, found " + Quoted(pair));
    }
    if (open.find('=') != std::string_view::npos || close.find('=') != std::string_view::npos) {
      Fail(tagBegin, "bad delimiter change: a delimiter must not contain \"=\", found " + Quoted(pair));
    }
    open_ = open;
    close_ = close;
  }

  Program& program_;
  Keys& keys_;
  std::uint32_t body_;
  std::string_view source_;
  Locator locate_;
  bool indents_ = body_ != 0;  // only partials are ever indented
  bool textOpen_ = false;      // the last instruction is text that more text may join
  std::string open_ = "{{";
  std::string close_ = "}}";
  std::vector<OpenSection> openSections_;
};

}  // namespace

Program Compile(std::string_view text, Escape escape, Partials const& partials) {
  Program program;
  program.escape = escape;
  program.bodies.resize(1 + partials.size());
  std::uint32_t body = 1;
  for (auto const& partial : partials) {
    program.bodies[body++].partial = partial.first;
  }
  Keys keys;
  Compiler(program, keys, 0, text).Run();
  body = 1;
  for (auto const& partial : partials) {
    Compiler(program, keys, body++, partial.second).Run();
  }
  program.keyCount = static_cast<std::uint32_t>(keys.size());
  return program;
}

}  // namespace orv::templating::detail
