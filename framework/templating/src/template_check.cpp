#include <cstdint>
#include <vector>

#include "orv/templating/template.hpp"
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
  explicit Checker(Program const& program) : program_(program), state_(program.bodies.size()) {
    for (std::size_t body = 0; body < program.bodies.size(); ++body) {
      state_[body].assign(program.bodies[body].code.size(), State::Unvisited);
    }
  }

  void Run(std::size_t body, std::size_t begin, std::size_t end, Frame const* top) {
    std::vector<Instruction> const& code = program_.bodies[body].code;
    std::size_t i = begin;
    while (i < end) {
      Instruction const& instruction = code[i];
      switch (instruction.op) {
        case Op::Text:
        case Op::Indent:
          ++i;
          break;
        case Op::Escaped:
        case Op::Raw:
          Look(body, i, top);
          ++i;
          break;
        case Op::Section:
          if (Value const value = Look(body, i, top)) {
            Enter(body, i, value, top);
          }
          i = instruction.second;
          break;
        case Op::Inverted:
          // The body renders, if at all, in the enclosing context.
          Look(body, i, top);
          Run(body, i + 1, instruction.second, top);
          i = instruction.second;
          break;
        case Op::Partial:
          RunPartial(instruction.first, top);
          ++i;
          break;
      }
    }
  }

  std::vector<MissingName> Result() const {
    std::vector<MissingName> missing;
    for (std::size_t body = 0; body < program_.bodies.size(); ++body) {
      for (std::size_t i = 0; i < state_[body].size(); ++i) {
        if (state_[body][i] == State::Missing) {
          Name const& name = program_.bodies[body].names[program_.bodies[body].code[i].first];
          missing.push_back({name.text, program_.bodies[body].partial, name.line, name.column});
        }
      }
    }
    return missing;
  }

 private:
  enum class State : std::uint8_t { Unvisited, Missing, Found };

  // Looks up the name of tag `i` and records the outcome; a tag once found
  // stays found.
  Value Look(std::size_t body, std::size_t i, Frame const* top) {
    Name const& name = program_.bodies[body].names[program_.bodies[body].code[i].first];
    Value const value = Find(name, top);
    if (value.Which() == kLambda || value.Which() == kObject) {
      ThrowUnsupported(program_.bodies[body], name, value);
    }
    State& state = state_[body][i];
    if (value) {
      state = State::Found;
    } else if (state == State::Unvisited) {
      state = State::Missing;
    }
    return value;
  }

  // Checks the body of section `i` in the context(s) that `value` gives it.
  void Enter(std::size_t body, std::size_t i, Value value, Frame const* top) {
    std::size_t const end = program_.bodies[body].code[i].second;
    switch (value.Which()) {
      case kNull:
        break;  // no telling what the section would hold
      case kArray:
        for (mstch::node const& element : boost::get<mstch::array>(*value.node)) {
          Frame const frame{Value::Of(element), top};
          Run(body, i + 1, end, &frame);
        }
        break;
      default: {
        // A map gives its names; a boolean or a text gives none, whether the
        // section renders with this data or not.
        Frame const frame{value, top};
        Run(body, i + 1, end, &frame);
        break;
      }
    }
  }

  // A partial that is already being checked in the same context would only
  // repeat itself, and would never end if it includes itself.
  void RunPartial(std::size_t body, Frame const* top) {
    for (Active const& active : active_) {
      if (active.body == body && active.context == Context(top)) {
        return;
      }
    }
    active_.push_back({body, Context(top)});
    Run(body, 0, program_.bodies[body].code.size(), top);
    active_.pop_back();
  }

  static void const* Context(Frame const* top) {
    return top->value.node != nullptr ? static_cast<void const*>(top->value.node) : top->value.map;
  }

  struct Active {
    std::size_t body;
    void const* context;
  };

  Program const& program_;
  std::vector<std::vector<State>> state_;
  std::vector<Active> active_;
};

}  // namespace
}  // namespace detail

namespace {

std::vector<MissingName> Check(detail::Program const& program, detail::Value data) {
  detail::Checker checker(program);
  detail::Frame const root{data, nullptr};
  checker.Run(0, 0, program.bodies.front().code.size(), &root);
  return checker.Result();
}

}  // namespace

std::vector<MissingName> Template::FindMissingNames(mstch::node const& data) const {
  return Check(*program_, detail::Value::Of(data));
}

std::vector<MissingName> Template::FindMissingNames(mstch::map const& data) const {
  return Check(*program_, detail::Value{nullptr, &data});
}

}  // namespace orv::templating
