// The "orv.action.File" action: renders its template from each event's
// template data and appends the text to a file, or to standard output.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "orv/action/action.hpp"
#include "orv/action/field.hpp"
#include "orv/action/properties.hpp"
#include "orv/action/registration.hpp"
#include "orv/action/serialize.hpp"
#include "orv/templating/escape.hpp"
#include "orv/templating/template.hpp"

namespace orv::plugins {
namespace {

// One line per event: when, what, which zones and which objects.
constexpr char kDefaultTemplate[] =
    "{{#the_event}}{{start.iso8601}} {{name}}: {{type.string}} event {{id}} on {{host}}"
    "{{#Zone}}, zone {{name}}{{/Zone}}"
    "{{#Object}}, object {{id}}{{#DLClassification}} ({{class}} {{confidence}}){{/DLClassification}}{{/Object}}"
    "\n{{/the_event}}";

class FileAction : public action::Action {
 public:
  static constexpr char const* kTypeName = "orv.action.File";

  FileAction() : Action(hash::MurmurThree32(kTypeName), {}) { SetTemplate(kDefaultTemplate); }

  static std::vector<property::Schema> GetSchemas();

  Result Execute(std::shared_ptr<meta::data::Event const> event) const override {
    std::string const text = template_.Render(action::SerializeEvent(event));
    Append(text);
    return std::make_shared<std::string const>(text);
  }

  std::string const& GetPath() const noexcept { return path_; }
  void SetPath(std::string path) { path_ = std::move(path); }

  std::string const& GetTemplate() const noexcept { return templateText_; }
  // Compiles at once, so that a broken template fails when it is set, naming
  // its line and column, and never on an event.
  void SetTemplate(std::string text) {
    template_ = Compile(text, escape_, partials_);
    templateText_ = std::move(text);
  }

  std::string GetEscape() const { return templating::GetName(escape_); }
  // "none" (the default: a file holds plain text), "html", "url" or "json".
  void SetEscape(std::string const& name) {
    auto const escape = templating::EscapeFromName(name);
    if (!escape) {
      throw std::invalid_argument("escape '" + name + "' is not one of none, html, url, json");
    }
    template_ = Compile(templateText_, *escape, partials_);
    escape_ = *escape;
  }

  std::vector<std::string> GetPartials() const { return partialEntries_; }
  // Each entry "NAME=TEMPLATE": the template's {{>NAME}} renders TEMPLATE.
  void SetPartials(std::vector<std::string> entries) {
    templating::Partials partials;
    for (std::string const& entry : entries) {
      auto const equals = entry.find('=');
      if (equals == std::string::npos || equals == 0) {
        throw std::invalid_argument("partial '" + entry + "' is not NAME=TEMPLATE");
      }
      if (!partials.emplace(entry.substr(0, equals), entry.substr(equals + 1)).second) {
        throw std::invalid_argument("partial '" + entry.substr(0, equals) + "' is given twice");
      }
    }
    template_ = Compile(templateText_, escape_, partials);
    partials_ = std::move(partials);
    partialEntries_ = std::move(entries);
  }

 private:
  // Appends and flushes one message; messages of concurrent events do not interleave.
  void Append(std::string const& text) const {
    std::lock_guard const lock(mutex_);
    if (path_ == "-") {
      if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throw std::runtime_error(std::string("cannot write to standard output: ") + std::strerror(errno));
      }
      return;
    }
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path_.c_str(), "a"), &std::fclose);
    if (!file) {
      throw std::runtime_error("cannot open '" + path_ + "' for appending: " + std::strerror(errno));
    }
    if (std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() || std::fflush(file.get()) != 0) {
      throw std::runtime_error("cannot write to '" + path_ + "': " + std::strerror(errno));
    }
  }

  static templating::Template Compile(std::string const& text, templating::Escape escape,
                                      templating::Partials const& partials) {
    return templating::Template(text, escape, partials);
  }

  std::string path_ = "-";
  std::string templateText_;
  templating::Escape escape_ = templating::Escape::None;
  templating::Partials partials_;
  std::vector<std::string> partialEntries_;
  templating::Template template_;
  mutable std::mutex mutex_;
};

std::vector<property::Schema> FileAction::GetSchemas() {
  using action::properties::Field;
  return action::properties::Make({
      Field<&FileAction::GetPath, &FileAction::SetPath>(
          "path", "The file each message is appended to; \"-\" writes to standard output"),
      Field<&FileAction::GetTemplate, &FileAction::SetTemplate>(
          "template", "The mustache template of a message, rendered from the event's template data"),
      Field<&FileAction::GetEscape, &FileAction::SetEscape>(
          "escape", "How {{name}} tags write values: none (the default), html, url or json"),
      Field<&FileAction::GetPartials, &FileAction::SetPartials>(
          "partials", "Partials of the template, each NAME=TEMPLATE, used as {{>NAME}}"),
  });
}

action::Registration<FileAction> const kRegistration;

}  // namespace
}  // namespace orv::plugins
