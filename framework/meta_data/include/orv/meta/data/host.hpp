#pragma once

#include <string>

#include "orv/meta/data/export.hpp"

namespace orv::meta::data::detail {

// The device's host name, looked up afresh on every call.
ORV_META_DATA_API std::string GetHostName();

// The device's IPv4 address in dotted decimal ("192.168.1.20"), looked up
// afresh on every call. Throws boost::system::system_error when the address
// cannot be formatted.
ORV_META_DATA_API std::string GetIPAddress();

}  // namespace orv::meta::data::detail
