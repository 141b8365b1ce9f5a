#include "orv/meta/data/host.hpp"

#include "orv/network/address.hpp"

namespace orv::meta::data::detail {

std::string GetHostName() { return network::GetHostname(); }

std::string GetIPAddress() { return network::GetLocalIPAddress().to_string(); }

}  // namespace orv::meta::data::detail
