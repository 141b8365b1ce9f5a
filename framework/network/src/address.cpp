#include "orv/network/address.hpp"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <system_error>

namespace orv::network {

std::string GetHostname() {
  char name[HOST_NAME_MAX + 1] = {};
  if (::gethostname(name, sizeof name - 1) != 0) {
    throw std::system_error(errno, std::generic_category(), "Cannot read the host name");
  }
  return std::string(name);
}

boost::asio::ip::address_v4 GetLocalIPAddress() {
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) {
    throw std::system_error(errno, std::generic_category(), "Cannot list the network interfaces");
  }
  std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> const owner(list, &::freeifaddrs);
  for (ifaddrs const* entry = list; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
      continue;
    }
    if ((entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) {
      continue;
    }
    auto const* address = reinterpret_cast<sockaddr_in const*>(entry->ifa_addr);
    return boost::asio::ip::address_v4(ntohl(address->sin_addr.s_addr));
  }
  return boost::asio::ip::address_v4::loopback();
}

}  // namespace orv::network
