#include <cstdint>
#include <vector>

#include "orv/templating/template.hpp"
#include "template_context.hpp"
#include "template_data.hpp"
#include "template_program.hpp"

namespace orv::templating {
namespace detail {
namespace {

// Walks the template over the data as rendering would, but through every
// branch whose context is known, and records for each tag whether any pass
// found its name.
class Checker {
 public:
  Checker(Program const& program, Value data, std::size_t maxRenderedSize)
      : program_(program),
        context_(data, program.keyCount),
        steps_(maxRenderedSize, "checking"),
        state_(program.bodies.size()) {
    for (std::size_t body = 0; body < program.bodies.size(); ++body) {
      state_[body].assign(program.bodies[body].code.size(), State::Unvisited);
    }
  }

  // Like rendering, on a stack of passes of our own rather than the
  // thread's.
  void Run() {
    passes_.reserve(16);
    passes_.push_back({0, 0, 0, Size(program_.bodies.front().code), nullptr, 0, false, false, 0});
    while (!passes_.empty()) {
      Pass& pass = passes_.back();
      if (pass.next == pass.end) {
        Finish(pass);
        continue;
      }
      steps_.Take();
      std::uint32_t const i = pass.next++;
      Instruction const& instruction = program_.bodies[pass.body].code[i];
      switch (instruction.op) {
        case Op::Text:
        case Op::Indent:
        case Op::NoPartial:
          break;
        case Op::Escaped:
        case Op::Raw:
          Look(pass.body, i);
          break;
        case Op::Section:
          EnterSection(pass, i);
          break;
        case Op::Inverted: {
          // The body renders, if at all, in the enclosing context.
          Look(pass.body, i);
          Pass const inner{pass.body, i + 1, i + 1, instruction.second, nullptr, 0, false, false, pass.depth};
          pass.next = instruction.second;
          passes_.push_back(inner);
          break;
        }
        case Op::Partial:
          EnterPartial(pass, instruction.first);
          break;
      }
    }
  }

  std::vector<MissingName> Result() const {
    std::vector<MissingName> missing;
    for (std::size_t body = 0; body < program_.bodies.size(); ++body) {
      Body const& code = program_.bodies[body];
      for (std::size_t i = 0; i < state_[body].size(); ++i) {
        bool const noPartial = code.code[i].op == Op::NoPartial;
        if (noPartial || state_[body][i] == State::Missing) {
          Name const& name = code.names[code.code[i].first];
          missing.push_back({name.text, code.partial, name.line, name.column, noPartial});
        }
      }
    }
    return missing;
  }

 private:
  enum class State : std::uint8_t { Unvisited, Missing, Found };

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
    bool ownsActive;               // a partial: added to active_, to drop at the end
    std::uint32_t depth;           // partials nested
  };

  // A partial being checked, in the context it was included in.
  struct Active {
    std::uint32_t body;
    void const* context;
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
    if (pass.ownsActive) {
      active_.pop_back();
    }
    passes_.pop_back();
  }

  // Looks up the name of tag `i` and records the outcome; a tag once found
  // stays found.
  Value Look(std::uint32_t body, std::uint32_t i) {
    Body const& code = program_.bodies[body];
    Name const& name = code.names[code.code[i].first];
    Value const value = context_.Find(name);
    if (value.Which() == kLambda || value.Which() == kObject) {
      ThrowUnsupported(code, name, value);
    }
    State& state = state_[body][i];
    if (value) {
      state = State::Found;
    } else if (state == State::Unvisited) {
      state = State::Missing;
    }
    return value;
  }

  // Checks the body of section `i` in the context(s) that its value gives it.
  void EnterSection(Pass& pass, std::uint32_t i) {
    Value const value = Look(pass.body, i);
    std::uint32_t const end = program_.bodies[pass.body].code[i].second;
    Pass inner{pass.body, i + 1, i + 1, end, nullptr, 0, true, false, pass.depth};
    pass.next = end;
    switch (value.Which()) {
      case kNull:
        return;  // missing or null: no telling what the section would hold
      case kArray: {
        auto const& elements = boost::get<mstch::array>(*value.node);
        if (elements.empty()) {
          return;
        }
        inner.elements = &elements;
        context_.Push(Value::Of(elements.front()));
        break;
      }
      default:
        // A map gives its names; a boolean or a text gives none, whether the
        // section renders with this data or not.
        context_.Push(value);
        break;
    }
    passes_.push_back(inner);
  }

  // A partial that is already being checked in the same context would only
  // repeat itself, and would never end if it includes itself.
  void EnterPartial(Pass const& pass, std::uint32_t body) {
    if (pass.depth >= kMaxPartialDepth) {
      return;
    }
    Value const& top = context_.Top();
    void const* const context = top.node != nullptr ? static_cast<void const*>(top.node) : top.map;
    for (Active const& active : active_) {
      if (active.body == body && active.context == context) {
        return;
      }
    }
    active_.push_back({body, context});
    Pass const inner{body, 0, 0, Size(program_.bodies[body].code), nullptr, 0, false, true, pass.depth + 1};
    passes_.push_back(inner);
  }

  Program const& program_;
  ContextStack context_;
  StepBudget steps_;
  std::vector<std::vector<State>> state_;
  std::vector<Pass> passes_;
  std::vector<Active> active_;
};

}  // namespace
}  // namespace detail

namespace {

std::vector<MissingName> Check(detail::Program const& program, detail::Value data, std::size_t maxRenderedSize) {
  detail::Checker checker(program, data, maxRenderedSize);
  checker.Run();
  return checker.Result();
}

}  // namespace

std::vector<MissingName> Template::FindMissingNames(mstch::node const& data) const {
  return Check(*program_, detail::Value::Of(data), maxRenderedSize_);
}

std::vector<MissingName> Template::FindMissingNames(mstch::map const& data) const {
  return Check(*program_, detail::Value{nullptr, &data}, maxRenderedSize_);
}

}  // namespace orv::templating
