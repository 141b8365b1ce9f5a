#include "template_data.hpp"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>

#include "orv/templating/template.hpp"

namespace orv::templating::detail {

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

std::size_t StepLimit(std::size_t maxRenderedSize) {
  std::size_t const bytes = std::max(maxRenderedSize, kMinStepBudgetBytes);
  std::size_t const most = std::numeric_limits<std::size_t>::max();
  return bytes > most / kMaxStepsPerRenderedByte ? most : bytes * kMaxStepsPerRenderedByte;
}

}  // namespace

StepBudget::StepBudget(std::size_t maxRenderedSize, char const* walk)
    : limit_(StepLimit(maxRenderedSize)), walk_(walk) {}

static_assert(kMaxStepsPerRenderedByte == 64 && kMinStepBudgetBytes == 16 << 10, "the message below names both");

void StepBudget::Throw() const {
  throw std::length_error(std::string(walk_) + " stopped after " + std::to_string(limit_) +
                          " steps, the most allowed (64 per byte of the rendering limit, at least 16 KiB): "
                          "sections over lists repeat their bodies too often for this data");
}

}  // namespace orv::templating::detail
