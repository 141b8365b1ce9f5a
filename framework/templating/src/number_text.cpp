#include "orv/templating/serialize/number_text.hpp"

#include <charconv>
#include <locale>
#include <sstream>

namespace orv::templating::serialize {
namespace {

// The classic locale adds no grouping and uses '.', so std::to_chars gives
// the stream's text; any other locale may not.
bool GlobalLocaleIsClassic() { return std::locale() == std::locale::classic(); }

template <class T>
std::string ViaStream(T value) {
  std::ostringstream stream;
  stream << value;
  return stream.str();
}

template <class T>
std::string Integer(T value) {
  if (!GlobalLocaleIsClassic()) {
    return ViaStream(value);
  }
  char buffer[24];
  auto const result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

}  // namespace

std::string ToText(int value) { return Integer(value); }
std::string ToText(long value) { return Integer(value); }
std::string ToText(unsigned int value) { return Integer(value); }
std::string ToText(unsigned long value) { return Integer(value); }
std::string ToText(long long value) { return Integer(value); }
std::string ToText(unsigned long long value) { return Integer(value); }

std::string ToText(double value) {
  if (!GlobalLocaleIsClassic()) {
    return ViaStream(value);
  }
  // A stream's default is "%.6g"; to_chars with general notation and a
  // precision is defined as that printf conversion.
  char buffer[32];
  auto const result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6);
  return std::string(buffer, result.ptr);
}

}  // namespace orv::templating::serialize
