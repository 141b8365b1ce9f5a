// Accepts messages into an outbox, commits them, says so, and waits to be
// killed: the other half of the crash test.
//
// usage: orv_outbox_crash_helper DATABASE COUNT [LOG]
//   Prints each delivery id on a line, then "flushed". With LOG, a sender
//   is registered that appends each delivered id to LOG, one send per 5 ms.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>
#include <thread>

#include "orv/outbox/outbox.hpp"

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) {
    std::cerr << "usage: " << argv[0] << " DATABASE COUNT [LOG]\n";
    return 2;
  }
  orv::outbox::Outbox outbox({.path = argv[1]});
  if (argc == 4) {
    int const log = open(argv[3], O_WRONLY | O_CREAT | O_APPEND, 0644);
    if (log < 0) {
      std::perror(argv[3]);
      return 1;
    }
    outbox.Register("crash", [log](orv::outbox::Message const& message) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      auto const line = message.deliveryId + "\n";
      if (write(log, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        return orv::outbox::Outcome::TransientFailure(0, "cannot write the log");
      }
      return orv::outbox::Outcome::Sent();
    });
  }
  int const count = std::stoi(argv[2]);
  for (int i = 0; i < count; ++i) {
    std::cout << outbox.Accept({"crash", static_cast<std::uint64_t>(i), "file:log", "message " + std::to_string(i)})
              << '\n';
  }
  outbox.Flush();
  std::cout << "flushed" << std::endl;
  for (;;) {
    pause();
  }
}
