#include "orv/templating/template.hpp"

#include <charconv>
#include <stdexcept>
#include <string>
#include <string_view>

#include "template_data.hpp"
#include "template_program.hpp"

namespace orv::templating {
namespace detail {

void ThrowUnsupported(Body const& body, Name const& name, Value value) {
  std::string message;
  if (!body.partial.empty()) {
    message += "partial \"" + body.partial + "\", ";
  }
  message += "line " + std::to_string(name.line) + ", column " + std::to_string(name.column) + ": \"" + name.text +
             "\" is " + (value.Which() == kLambda ? "a lambda" : "a shared object") +
             "; template data holds only text, numbers, booleans, maps and lists";
  throw std::invalid_argument(message);
}

namespace {

void Append(std::string& out, std::string_view text, Escape escape) {
  if (escape == Escape::None) {
    out.append(text);
  } else {
    AppendEscaped(out, text, escape);
  }
}

// Appends the text of one interpolated value.
void AppendValue(std::string& out, Body const& body, Name const& name, Value found, Escape escape) {
  if (found.node == nullptr) {
    return;  // a bare map
  }
  mstch::node const& value = *found.node;
  switch (value.which()) {
    case kString:
      Append(out, boost::get<std::string>(value), escape);
      break;
    case kInt: {
      char digits[16];
      auto const end = std::to_chars(digits, digits + sizeof digits, boost::get<int>(value)).ptr;
      out.append(digits, end);
      break;
    }
    case kDouble: {
      // The shortest text that reads back as the same double: 1.21 stays "1.21".
      char digits[32];
      auto const end = std::to_chars(digits, digits + sizeof digits, boost::get<double>(value)).ptr;
      Append(out, std::string_view(digits, static_cast<std::size_t>(end - digits)), escape);
      break;
    }
    case kBool:
      out.append(boost::get<bool>(value) ? "true" : "false");
      break;
    case kLambda:
    case kObject:
      ThrowUnsupported(body, name, found);
    default:
      break;  // null, maps and lists render as nothing
  }
}

class Renderer {
 public:
  Renderer(Program const& program, std::string& out) : program_(program), out_(out) {}

  // Renders instructions [begin, end) of `body` over the context stack `top`.
  void Run(Body const& body, std::size_t begin, std::size_t end, Frame const* top, std::string_view indent,
           unsigned depth) const {
    Instruction const* const code = body.code.data();
    std::size_t i = begin;
    while (i < end) {
      Instruction const& instruction = code[i];
      switch (instruction.op) {
        case Op::Text:
          out_.append(body.pool.data() + instruction.first, instruction.second);
          ++i;
          break;
        case Op::Indent:
          out_.append(indent);
          ++i;
          break;
        case Op::Escaped:
        case Op::Raw: {
          Name const& name = body.names[instruction.first];
          AppendValue(out_, body, name, Find(name, top),
                      instruction.op == Op::Escaped ? program_.escape : Escape::None);
          ++i;
          break;
        }
        case Op::Section: {
          Name const& name = body.names[instruction.first];
          Value const value = Find(name, top);
          if (value.Which() == kArray) {
            for (mstch::node const& element : boost::get<mstch::array>(*value.node)) {
              Frame const frame{Value::Of(element), top};
              Run(body, i + 1, instruction.second, &frame, indent, depth);
            }
          } else if (IsTruthy(body, name, value)) {
            Frame const frame{value, top};
            Run(body, i + 1, instruction.second, &frame, indent, depth);
          }
          i = instruction.second;
          break;
        }
        case Op::Inverted: {
          Name const& name = body.names[instruction.first];
          if (!IsTruthy(body, name, Find(name, top))) {
            Run(body, i + 1, instruction.second, top, indent, depth);
          }
          i = instruction.second;
          break;
        }
        case Op::Partial:
          RunPartial(body, instruction, top, indent, depth);
          ++i;
          break;
      }
    }
  }

 private:
  // A standalone partial is indented by its line's leading blanks, on top of
  // the indentation of the partial it stands in; an inline one is not.
  void RunPartial(Body const& body, Instruction const& instruction, Frame const* top, std::string_view indent,
                  unsigned depth) const {
    Body const& partial = program_.bodies[instruction.first];
    if (depth >= kMaxPartialDepth) {
      throw std::length_error("partial \"" + partial.partial + "\" nests more than " +
                              std::to_string(kMaxPartialDepth) + " partials deep");
    }
    std::string_view const own(body.pool.data() + instruction.second, instruction.third);
    if (!instruction.standalone) {
      Run(partial, 0, partial.code.size(), top, {}, depth + 1);
    } else if (indent.empty() || own.empty()) {
      Run(partial, 0, partial.code.size(), top, indent.empty() ? own : indent, depth + 1);
    } else {
      std::string const nested = std::string(indent) + std::string(own);
      Run(partial, 0, partial.code.size(), top, nested, depth + 1);
    }
  }

  Program const& program_;
  std::string& out_;
};

}  // namespace
}  // namespace detail

Template::Template() : Template(std::string_view{}) {}

Template::Template(std::string_view text, Escape escape, Partials const& partials)
    : program_(std::make_shared<detail::Program const>(detail::Compile(text, escape, partials))) {}

namespace {

void RenderFrom(detail::Program const& program, detail::Value data, std::string& out) {
  // Values usually add about as much as the static text; one reservation
  // then covers the whole rendering.
  out.reserve(out.size() + 2 * program.bodies.front().pool.size() + 256);
  detail::Frame const root{data, nullptr};
  detail::Body const& body = program.bodies.front();
  detail::Renderer(program, out).Run(body, 0, body.code.size(), &root, {}, 0);
}

}  // namespace

std::string Template::Render(mstch::node const& data) const {
  std::string out;
  RenderTo(data, out);
  return out;
}

std::string Template::Render(mstch::map const& data) const {
  std::string out;
  RenderTo(data, out);
  return out;
}

void Template::RenderTo(mstch::node const& data, std::string& out) const {
  RenderFrom(*program_, detail::Value::Of(data), out);
}

void Template::RenderTo(mstch::map const& data, std::string& out) const {
  RenderFrom(*program_, detail::Value{nullptr, &data}, out);
}

Escape Template::GetEscape() const noexcept { return program_->escape; }

}  // namespace orv::templating
