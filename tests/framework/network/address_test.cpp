#include "orv/network/address.hpp"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace orv::network {
namespace {

// The IPv4 addresses of interfaces that are up and not loopback, found with
// interface ioctls rather than getifaddrs.
std::set<std::string> UpNonLoopbackAddresses() {
  std::set<std::string> addresses;
  int const fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) {
    return addresses;
  }
  if (struct if_nameindex* names = ::if_nameindex()) {
    for (struct if_nameindex* n = names; n->if_index != 0; ++n) {
      ifreq request{};
      std::strncpy(request.ifr_name, n->if_name, IFNAMSIZ - 1);
      if (::ioctl(fd, SIOCGIFFLAGS, &request) != 0) {
        continue;
      }
      if ((request.ifr_flags & IFF_UP) == 0 || (request.ifr_flags & IFF_LOOPBACK) != 0) {
        continue;
      }
      if (::ioctl(fd, SIOCGIFADDR, &request) != 0) {
        continue;
      }
      char text[INET_ADDRSTRLEN] = {};
      auto const* address = reinterpret_cast<sockaddr_in const*>(&request.ifr_addr);
      ::inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
      addresses.insert(text);
    }
    ::if_freenameindex(names);
  }
  ::close(fd);
  return addresses;
}

TEST(GetHostname, IsTheKernelsHostName) {
  std::ifstream file("/proc/sys/kernel/hostname");
  std::string expected;
  std::getline(file, expected);
  EXPECT_FALSE(expected.empty());
  EXPECT_EQ(GetHostname(), expected);
}

TEST(GetLocalIPAddress, IsAnUpNonLoopbackAddressOrLoopback) {
  std::set<std::string> const candidates = UpNonLoopbackAddresses();
  std::string const address = GetLocalIPAddress().to_string();
  if (candidates.empty()) {
    EXPECT_EQ(address, "127.0.0.1");
  } else {
    EXPECT_EQ(candidates.count(address), 1U) << address;
  }
}

TEST(GetLocalIPAddress, IsStableBetweenCalls) { EXPECT_EQ(GetLocalIPAddress(), GetLocalIPAddress()); }

// The descriptors of this process that are sockets.
std::vector<int> OpenSockets() {
  std::vector<int> sockets;
  for (auto const& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    std::string const target = std::filesystem::read_symlink(entry.path(), error).string();
    if (!error && target.starts_with("socket:")) {
      sockets.push_back(std::stoi(entry.path().filename().string()));
    }
  }
  return sockets;
}

// A host that closes descriptors it does not know, and gives their numbers to
// other files, as daemons do: the look-up opens a socket of its own again.
TEST(GetLocalIPAddress, SurvivesAHostThatTakesItsSocketAway) {
  auto const before = GetLocalIPAddress();
  int const file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(file, 0);
  std::vector<int> const sockets = OpenSockets();
  ASSERT_FALSE(sockets.empty());
  for (int const fd : sockets) {
    ASSERT_EQ(::dup2(file, fd), fd);  // the number now names /dev/null
  }
  EXPECT_EQ(GetLocalIPAddress(), before);
  EXPECT_EQ(GetLocalIPAddress(), before);
  for (int const fd : sockets) {
    ::close(fd);  // closed outright this time
  }
  EXPECT_EQ(GetLocalIPAddress(), before);
  ::close(file);
}

}  // namespace
}  // namespace orv::network
