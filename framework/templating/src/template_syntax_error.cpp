#include "orv/templating/syntax_error.hpp"

namespace orv::templating {
namespace {

std::string Describe(std::string const& partial, std::size_t line, std::size_t column, std::string const& message) {
  std::string text;
  if (!partial.empty()) {
    text += "partial \"" + partial + "\", ";
  }
  text += "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + message;
  return text;
}

}  // namespace

SyntaxError::SyntaxError(std::string const& partial, std::size_t line, std::size_t column, std::string const& message)
    : std::runtime_error(Describe(partial, line, column, message)),
      partial_(std::make_shared<std::string const>(partial)),
      line_(line),
      column_(column) {}

}  // namespace orv::templating
