#pragma once

#include <boost/asio/ip/address_v4.hpp>
#include <string>

#include "orv/network/export.hpp"

namespace orv::network {

// The machine's host name, as gethostname() reports it. Throws
// std::system_error when the name cannot be read.
ORV_NETWORK_API std::string GetHostname();

// The first IPv4 address, in the order the kernel lists interfaces, of an
// interface that is up and not a loopback interface; 127.0.0.1 when there is
// none. Throws std::system_error when the interfaces cannot be listed. Looked
// up afresh on every call (a few microseconds: one socket and two ioctls on a
// typical device).
ORV_NETWORK_API boost::asio::ip::address_v4 GetLocalIPAddress();

}  // namespace orv::network
