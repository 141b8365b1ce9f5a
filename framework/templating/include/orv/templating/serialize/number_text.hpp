#pragma once

#include <string>

#include "orv/templating/export.hpp"

namespace orv::templating::serialize {

// Decimal text of a number, exactly as a freshly made std::ostringstream with
// default flags and the global locale writes it (`stream << value`). With the
// classic global locale (the usual case) the text is formed without a stream;
// any other global locale is honoured by going through a stream.
//
// Doubles get six significant digits in the shorter of fixed and scientific
// notation, trailing zeros dropped: 0.5 -> "0.5", 1234567 -> "1.23457e+06",
// NaN -> "nan" (or "-nan"), infinities -> "inf" and "-inf". A float is written
// by widening it to double first.
ORV_TEMPLATING_API std::string ToText(int value);
ORV_TEMPLATING_API std::string ToText(long value);
ORV_TEMPLATING_API std::string ToText(unsigned int value);
ORV_TEMPLATING_API std::string ToText(unsigned long value);
// long long and unsigned long long: 64 bits on every target, where long has
// only 32 on 32-bit ARM.
ORV_TEMPLATING_API std::string ToText(long long value);
ORV_TEMPLATING_API std::string ToText(unsigned long long value);
ORV_TEMPLATING_API std::string ToText(double value);

}  // namespace orv::templating::serialize
