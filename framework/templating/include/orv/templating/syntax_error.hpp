#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "orv/templating/export.hpp"

namespace orv::templating {

// Thrown when a template or one of its partials does not compile. what() reads
// "line 3, column 7: unclosed section "zones": expected "{{/zones}}"", prefixed
// with `partial "name", ` when the error lies in a partial. Lines and columns
// count from 1; a column counts characters (UTF-8 code points), a tab as one.
class ORV_TEMPLATING_API SyntaxError : public std::runtime_error {
 public:
  SyntaxError(std::string const& partial, std::size_t line, std::size_t column, std::string const& message);

  // The line and column of the offending tag or character.
  std::size_t GetLine() const noexcept { return line_; }
  std::size_t GetColumn() const noexcept { return column_; }
  // The name of the partial that holds the error; empty for the template itself.
  std::string const& GetPartial() const noexcept { return *partial_; }

 private:
  std::shared_ptr<std::string const> partial_;  // shared so that copying cannot throw
  std::size_t line_;
  std::size_t column_;
};

}  // namespace orv::templating
