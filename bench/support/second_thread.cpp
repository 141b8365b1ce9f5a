#include <thread>

namespace {

// Creating one thread is enough: glibc never resets its single-threaded flag.
bool const gSecondThreadStarted = [] {
  std::thread([] {}).join();
  return true;
}();

}  // namespace
