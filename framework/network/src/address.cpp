#include "orv/network/address.hpp"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>
#include <system_error>
#include <vector>

namespace orv::network {
namespace {

// Interfaces with IPv4 addresses that one SIOCGIFCONF call reports; a device
// with more is asked again with a larger buffer.
constexpr std::size_t kInterfacesAtOnce = 32;

[[noreturn]] void ThrowListingFailed() {
  throw std::system_error(errno, std::generic_category(), "Cannot list the network interfaces");
}

// The datagram socket that the interface ioctls need, opened at the first
// lookup and kept for the process: opening and closing one for every event
// cost two system calls of the five an event's serialisation makes. Only the
// handle is kept; the interfaces are listed anew each time. Concurrent ioctls
// on one socket are safe. A host that closes descriptors it does not know
// (as daemons do) may close it or give its number to another file: an ioctl
// that fails for that reason opens a new one (the old number is left alone,
// it is no longer ours).
std::atomic<int> gSocket{-1};

int OpenSocket() {
  int const opened = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (opened < 0) {
    ThrowListingFailed();
  }
  return opened;
}

int InterfaceSocket() {
  int fd = gSocket.load();
  if (fd >= 0) {
    return fd;
  }
  int const opened = OpenSocket();
  if (gSocket.compare_exchange_strong(fd, opened)) {
    return opened;
  }
  ::close(opened);  // another thread was first
  return fd;
}

// Whether `error` says the kept descriptor is no longer a usable socket.
bool IsLostSocket(int error) { return error == EBADF || error == ENOTTY || error == ENOTSOCK || error == EINVAL; }

// ioctl(SIOCGIFCONF) on the kept socket, replacing it once if it was lost.
void ListInterfaces(int& fd, ifconf& listing) {
  if (::ioctl(fd, SIOCGIFCONF, &listing) == 0) {
    return;
  }
  if (!IsLostSocket(errno)) {
    ThrowListingFailed();
  }
  int const lost = fd;
  int const opened = OpenSocket();
  int expected = lost;
  if (gSocket.compare_exchange_strong(expected, opened)) {
    fd = opened;
  } else {
    ::close(opened);  // another thread replaced it already
    fd = expected;
  }
  if (::ioctl(fd, SIOCGIFCONF, &listing) != 0) {
    ThrowListingFailed();
  }
}

// Whether the interface named in `request` is up and not a loopback interface.
bool IsUpAndNotLoopback(int fd, ifreq request) {
  if (::ioctl(fd, SIOCGIFFLAGS, &request) != 0) {
    return false;  // gone since it was listed
  }
  return (request.ifr_flags & IFF_UP) != 0 && (request.ifr_flags & IFF_LOOPBACK) == 0;
}

// Scans the IPv4 addresses of one SIOCGIFCONF answer; true with `found` set
// when one belongs to an interface that is up and not loopback.
bool FindIn(int fd, ifreq const* requests, std::size_t count, boost::asio::ip::address_v4& found) {
  for (std::size_t i = 0; i < count; ++i) {
    sockaddr_in address{};
    std::memcpy(&address, &requests[i].ifr_addr, sizeof address);
    if (address.sin_family != AF_INET) {
      continue;
    }
    boost::asio::ip::address_v4 const candidate(ntohl(address.sin_addr.s_addr));
    if (candidate.is_loopback()) {
      continue;  // a loopback address needs no flags to be skipped
    }
    if (IsUpAndNotLoopback(fd, requests[i])) {
      found = candidate;
      return true;
    }
  }
  return false;
}

}  // namespace

std::string GetHostname() {
  char name[HOST_NAME_MAX + 1] = {};
  if (::gethostname(name, sizeof name - 1) != 0) {
    throw std::system_error(errno, std::generic_category(), "Cannot read the host name");
  }
  return std::string(name);
}

// SIOCGIFCONF on a datagram socket lists only interfaces with IPv4 addresses,
// in the kernel's order, with one ioctl; getifaddrs would dump every address
// and link over netlink, several times the cost, on every event.
boost::asio::ip::address_v4 GetLocalIPAddress() {
  int fd = InterfaceSocket();
  std::array<ifreq, kInterfacesAtOnce> small;
  ifconf listing{};
  listing.ifc_len = static_cast<int>(sizeof small);
  listing.ifc_req = small.data();
  ListInterfaces(fd, listing);
  boost::asio::ip::address_v4 found = boost::asio::ip::address_v4::loopback();
  if (static_cast<std::size_t>(listing.ifc_len) < sizeof small) {
    FindIn(fd, small.data(), static_cast<std::size_t>(listing.ifc_len) / sizeof(ifreq), found);
    return found;
  }
  // The buffer was full: ask for the size and list again.
  listing = ifconf{};
  ListInterfaces(fd, listing);
  std::vector<ifreq> all(static_cast<std::size_t>(listing.ifc_len) / sizeof(ifreq) + 1);
  listing.ifc_len = static_cast<int>(all.size() * sizeof(ifreq));
  listing.ifc_req = all.data();
  ListInterfaces(fd, listing);
  FindIn(fd, all.data(), static_cast<std::size_t>(listing.ifc_len) / sizeof(ifreq), found);
  return found;
}

}  // namespace orv::network
