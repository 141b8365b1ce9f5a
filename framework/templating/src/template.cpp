#include "orv/templating/template.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "template_context.hpp"
#include "template_data.hpp"
#include "template_program.hpp"

namespace orv::templating {
namespace detail {
namespace {

// The text of one rendering, kept within its limit.
class Output {
 public:
  // Reserves room for `expected` bytes, or for the limit if that is less.
  Output(std::string& out, std::size_t maxSize, std::size_t expected)
      : out_(out), begin_(out.size()), maxSize_(maxSize) {
    out.reserve(out.size() + std::min(maxSize, expected));
  }

  void Append(std::string_view text) {
    Expect(text.size());
    out_.append(text);
  }

  void Append(std::string_view text, Escape escape) {
    Expect(text.size());  // escaping never shortens a text
    if (escape == Escape::None) {
      out_.append(text);
      return;
    }
    AppendEscaped(out_, text, escape);
    if (out_.size() - begin_ > maxSize_) {
      out_.resize(begin_ + maxSize_);
      Throw();
    }
  }

 private:
  void Expect(std::size_t size) const {
    if (size > maxSize_ - (out_.size() - begin_)) {
      Throw();
    }
  }

  [[noreturn]] void Throw() const {
    throw std::length_error("the rendered text would be longer than " + std::to_string(maxSize_) +
                            " bytes, the limit of one rendering");
  }

  std::string& out_;
  std::size_t begin_;
  std::size_t maxSize_;
};

class Renderer {
 public:
  Renderer(Program const& program, Value data, std::string& out, std::size_t maxSize)
      : program_(program),
        context_(data, program.keyCount),
        // Values usually add about as much as the static text; one
        // reservation then covers the whole rendering.
        output_(out, maxSize, 2 * program.bodies.front().pool.size() + 256),
        steps_(maxSize, "rendering") {}

  // Renders the template. Sections and partials are passes on a stack of
  // our own, so that deep nesting never runs out of the thread's stack.
  void Run() {
    Body const& root = program_.bodies.front();
    passes_.reserve(16);
    passes_.push_back({0, 0, 0, Size(root.code), nullptr, 0, false, false, kNone, 0});
    while (!passes_.empty()) {
      Pass& pass = passes_.back();
      if (pass.next == pass.end) {
        Finish(pass);
        continue;
      }
      steps_.Take();
      Body const& body = program_.bodies[pass.body];
      Instruction const& instruction = body.code[pass.next++];
      switch (instruction.op) {
        case Op::Text:
          output_.Append(std::string_view(body.pool.data() + instruction.first, instruction.second));
          break;
        case Op::Indent:
          AppendIndent(pass.indent);
          break;
        case Op::Escaped:
        case Op::Raw: {
          Name const& name = body.names[instruction.first];
          AppendValue(body, name, context_.Find(name), instruction.op == Op::Escaped ? program_.escape : Escape::None);
          break;
        }
        case Op::Section:
          EnterSection(pass, instruction);
          break;
        case Op::Inverted: {
          Name const& name = body.names[instruction.first];
          Pass const inner{pass.body, pass.next, pass.next, instruction.second, nullptr,
                           0,         false,     false,     pass.indent,        pass.depth};
          pass.next = instruction.second;
          if (!IsTruthy(body, name, context_.Find(name))) {
            passes_.push_back(inner);
          }
          break;
        }
        case Op::Partial:
          EnterPartial(pass, instruction);
          break;
        case Op::NoPartial:
          break;
      }
    }
  }

 private:
  static constexpr std::uint32_t kNone = UINT32_MAX;

  // A run of instructions: the template, a partial, or the body of a section
  // (once, or once per element of a list).
  struct Pass {
    std::uint32_t body;
    std::uint32_t begin;  // where each element's run starts
    std::uint32_t next;
    std::uint32_t end;
    mstch::array const* elements;  // a section over a list: its elements
    std::size_t element;           // the element in context
    bool ownsContext;              // pushed a context, to pop at the end
    bool ownsIndent;               // added a piece of indentation, to drop at the end
    std::uint32_t indent;          // the innermost piece of indentation, or kNone
    std::uint32_t depth;           // partials nested
  };

  // One piece of a standalone partial's indentation, inside the pieces of the
  // partials that include it.
  struct Indentation {
    std::string_view text;
    std::uint32_t outer;
  };

  static std::uint32_t Size(std::vector<Instruction> const& code) { return static_cast<std::uint32_t>(code.size()); }

  void Finish(Pass& pass) {
    if (pass.elements != nullptr && pass.element + 1 < pass.elements->size()) {
      steps_.Take();
      ++pass.element;
      context_.Pop();
      context_.Push(Value::Of((*pass.elements)[pass.element]));
      pass.next = pass.begin;
      return;
    }
    if (pass.ownsContext) {
      context_.Pop();
    }
    if (pass.ownsIndent) {
      indentation_.pop_back();
    }
    passes_.pop_back();
  }

  void EnterSection(Pass& pass, Instruction const& instruction) {
    Body const& body = program_.bodies[pass.body];
    Name const& name = body.names[instruction.first];
    Value const value = context_.Find(name);
    Pass inner{pass.body, pass.next, pass.next, instruction.second, nullptr, 0, true, false, pass.indent, pass.depth};
    pass.next = instruction.second;
    if (value.Which() == kArray) {
      auto const& elements = boost::get<mstch::array>(*value.node);
      if (elements.empty()) {
        return;
      }
      inner.elements = &elements;
      context_.Push(Value::Of(elements.front()));
    } else if (IsTruthy(body, name, value)) {
      context_.Push(value);
    } else {
      return;
    }
    passes_.push_back(inner);
  }

  // A standalone partial is indented by its line's leading blanks, on top of
  // the indentation of the partial it stands in; an inline one is not.
  void EnterPartial(Pass const& pass, Instruction const& instruction) {
    Body const& partial = program_.bodies[instruction.first];
    if (pass.depth >= kMaxPartialDepth) {
      throw std::length_error("partial \"" + partial.partial + "\" nests more than " +
                              std::to_string(kMaxPartialDepth) + " partials deep");
    }
    std::string_view const own(program_.bodies[pass.body].pool.data() + instruction.second, instruction.third);
    std::uint32_t indent = kNone;
    bool ownsIndent = false;
    if (instruction.standalone) {
      indent = pass.indent;
      if (!own.empty()) {
        indentation_.push_back({own, pass.indent});
        indent = static_cast<std::uint32_t>(indentation_.size() - 1);
        ownsIndent = true;
      }
    }
    Pass const inner{instruction.first, 0, 0, Size(partial.code), nullptr, 0, false, ownsIndent, indent,
                     pass.depth + 1};
    passes_.push_back(inner);
  }

  // Pieces nest no deeper than partials do.
  void AppendIndent(std::uint32_t piece) {
    if (piece != kNone) {
      AppendIndent(indentation_[piece].outer);
      output_.Append(indentation_[piece].text);
    }
  }

  // Appends the text of one interpolated value.
  void AppendValue(Body const& body, Name const& name, Value found, Escape escape) {
    if (found.node == nullptr) {
      return;  // nothing, or a bare map
    }
    mstch::node const& value = *found.node;
    switch (value.which()) {
      case kString:
        output_.Append(boost::get<std::string>(value), escape);
        break;
      case kInt: {
        char digits[16];
        auto const end = std::to_chars(digits, digits + sizeof digits, boost::get<int>(value)).ptr;
        output_.Append(std::string_view(digits, static_cast<std::size_t>(end - digits)));
        break;
      }
      case kDouble: {
        // The shortest text that reads back as the same double: 1.21 stays "1.21".
        char digits[32];
        auto const end = std::to_chars(digits, digits + sizeof digits, boost::get<double>(value)).ptr;
        output_.Append(std::string_view(digits, static_cast<std::size_t>(end - digits)), escape);
        break;
      }
      case kBool:
        output_.Append(boost::get<bool>(value) ? "true" : "false");
        break;
      case kLambda:
      case kObject:
        ThrowUnsupported(body, name, found);
      default:
        break;  // null, maps and lists render as nothing
    }
  }

  Program const& program_;
  ContextStack context_;
  Output output_;
  StepBudget steps_;
  std::vector<Pass> passes_;
  std::vector<Indentation> indentation_;
};

}  // namespace
}  // namespace detail

Template::Template() : Template(std::string_view{}) {}

Template::Template(std::string_view text, Escape escape, Partials const& partials)
    : program_(std::make_shared<detail::Program const>(detail::Compile(text, escape, partials))) {}

Template Template::WithMaxRenderedSize(std::size_t maxRenderedSize) const {
  Template copy = *this;
  copy.maxRenderedSize_ = maxRenderedSize;
  return copy;
}

std::size_t Template::GetMaxRenderedSize() const noexcept { return maxRenderedSize_; }

std::string Template::Render(mstch::node const& data) const { return Render(data, maxRenderedSize_); }

std::string Template::Render(mstch::map const& data) const { return Render(data, maxRenderedSize_); }

std::string Template::Render(mstch::node const& data, std::size_t maxRenderedSize) const {
  std::string out;
  RenderTo(data, out, maxRenderedSize);
  return out;
}

std::string Template::Render(mstch::map const& data, std::size_t maxRenderedSize) const {
  std::string out;
  RenderTo(data, out, maxRenderedSize);
  return out;
}

void Template::RenderTo(mstch::node const& data, std::string& out) const { RenderTo(data, out, maxRenderedSize_); }

void Template::RenderTo(mstch::map const& data, std::string& out) const { RenderTo(data, out, maxRenderedSize_); }

void Template::RenderTo(mstch::node const& data, std::string& out, std::size_t maxRenderedSize) const {
  detail::Renderer(*program_, detail::Value::Of(data), out, maxRenderedSize).Run();
}

void Template::RenderTo(mstch::map const& data, std::string& out, std::size_t maxRenderedSize) const {
  detail::Renderer(*program_, detail::Value{nullptr, &data}, out, maxRenderedSize).Run();
}

Escape Template::GetEscape() const noexcept { return program_->escape; }

}  // namespace orv::templating
