#include "template_error.hpp"

namespace orv::tool {

std::string MessageOf(templating::SyntaxError const& error) {
  std::string const prefix = (error.GetPartial().empty() ? "" : "partial \"" + error.GetPartial() + "\", ") + "line " +
                             std::to_string(error.GetLine()) + ", column " + std::to_string(error.GetColumn()) + ": ";
  std::string const what = error.what();
  return what.starts_with(prefix) ? what.substr(prefix.size()) : what;
}

std::string Describe(templating::SyntaxError const& error, SourceText const& source) {
  if (!error.GetPartial().empty()) {
    // The program compiles no partials; should one appear, its own text says where.
    return source.Name() + ": " + error.what();
  }
  return source.Place(error.GetLine(), error.GetColumn()) + ": " + MessageOf(error);
}

}  // namespace orv::tool
