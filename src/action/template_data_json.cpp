#include "orv/action/template_data_json.hpp"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace orv::action {
namespace {

class ToJsonVisitor : public boost::static_visitor<nlohmann::json> {
 public:
  explicit ToJsonVisitor(std::string path) : path_(std::move(path)) {}

  nlohmann::json operator()(std::nullptr_t) const { return nullptr; }
  nlohmann::json operator()(std::string const& text) const { return text; }
  nlohmann::json operator()(bool value) const { return value; }
  nlohmann::json operator()(int) const { return Refuse("an int"); }
  nlohmann::json operator()(double) const { return Refuse("a double"); }
  nlohmann::json operator()(mstch::lambda const&) const { return Refuse("a lambda"); }
  nlohmann::json operator()(std::shared_ptr<mstch::object> const&) const { return Refuse("a shared object"); }

  nlohmann::json operator()(mstch::map const& map) const {
    nlohmann::json object = nlohmann::json::object();
    for (auto const& [key, value] : map) {
      object[key] = boost::apply_visitor(ToJsonVisitor(path_ + "." + key), value);
    }
    return object;
  }

  nlohmann::json operator()(mstch::array const& array) const {
    nlohmann::json elements = nlohmann::json::array();
    for (std::size_t i = 0; i < array.size(); ++i) {
      elements.push_back(boost::apply_visitor(ToJsonVisitor(path_ + "[" + std::to_string(i) + "]"), array[i]));
    }
    return elements;
  }

 private:
  [[noreturn]] nlohmann::json Refuse(char const* what) const {
    throw std::invalid_argument("template data at " + path_ + " holds " + what + ", which template data never holds");
  }

  std::string path_;
};

}  // namespace

std::string TemplateDataToJson(mstch::node const& data, int indent) {
  // Event texts come from devices and files: a stray byte must not make the
  // whole notification fail.
  return boost::apply_visitor(ToJsonVisitor("$"), data)
      .dump(indent < 0 ? -1 : indent, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace orv::action
