#pragma once

#include <boost/asio/ip/address_v4.hpp>
#include <string>

#include "orv/network/export.hpp"

namespace orv::network {

// The machine's host name, as gethostname() reports it. Throws
// std::system_error when the name cannot be read.
ORV_NETWORK_API std::string GetHostname();

// The IPv4 address of the first interface (in the order the system lists
// them) that is up, is not a loopback interface and has an IPv4 address;
// 127.0.0.1 when there is none. Throws std::system_error when the interfaces
// cannot be listed. Looked up afresh on every call.
ORV_NETWORK_API boost::asio::ip::address_v4 GetLocalIPAddress();

}  // namespace orv::network
