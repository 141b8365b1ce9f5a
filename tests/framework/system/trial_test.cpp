// The trial load of each plug-in file in the scanner program: its time limit,
// its explicit verdict, what happens without a working scanner, and a host
// with running threads.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "orv/system/library_path.hpp"
#include "orv/system/plugin.hpp"
#include "orv/test/emulator.hpp"

extern "C" void orv_fixture_lock_shared();
extern "C" void orv_fixture_unlock_shared();
extern "C" int orv_fixture_initialisations();

namespace orv::system::plugin {
namespace {

namespace fs = boost::filesystem;
using namespace std::chrono_literals;

fs::path const kRoot(ORV_TEST_FIXTURE_ROOT);

bool IsLoaded(fs::path const& file) {
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) {
    return false;
  }
  dlclose(handle);
  return true;
}

// Waits up to ten seconds for `done`; whether it came true.
template <class Condition>
bool Eventually(Condition done) {
  for (auto const end = std::chrono::steady_clock::now() + 10s; std::chrono::steady_clock::now() < end;) {
    if (done()) {
      return true;
    }
    std::this_thread::sleep_for(10ms);
  }
  return done();
}

// Whether process `pid` has ended (it is gone, or a zombie nobody reaped).
bool HasEnded(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(stat, line)) {
    return true;
  }
  auto const afterName = line.rfind(") ");
  return afterName != std::string::npos && line.compare(afterName + 2, 1, "Z") == 0;
}

bool HasNoChildLeft() { return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD; }

Options WithTimeLimit(std::chrono::milliseconds limit) {
  Options options;
  options.timeLimit = limit;
  return options;
}

Options WithScanner(fs::path scanner) {
  Options options;
  options.scanner = std::move(scanner);
  return options;
}

Options WithPreload(fs::path library) {
  Options options;
  options.preload = {std::move(library)};
  return options;
}

TEST(Options, LimitATrialToTenSecondsAndUseTheInstalledScannerUnlessTold) {
  Options const options;
  EXPECT_EQ(options.timeLimit, 10s);
  EXPECT_EQ(kDefaultTimeLimit, 10s);
  EXPECT_TRUE(options.scanner.empty());
  EXPECT_TRUE(options.preload.empty());
}

TEST(GetScannerPath, IsTheScannerAtItsPlaceBesideTheLibraryDirectory) {
  fs::path const scanner = GetScannerPath();
  EXPECT_TRUE(scanner.is_absolute()) << scanner;
  EXPECT_EQ(scanner.filename(), "orv-plugin-scan");
  EXPECT_TRUE(fs::equivalent(scanner, fs::path(ORV_TEST_SCANNER))) << scanner;
  // Found from liborv_system's own file, not from the working directory.
  EXPECT_TRUE(fs::equivalent(scanner.parent_path().parent_path().parent_path(),
                             GetLibraryPath("orv_system").parent_path().parent_path()));
}

TEST(LoadAll, RefusesATimeLimitOutOfItsRange) {
  try {
    LoadAll("orv_quiet", {kRoot / "quiet"}, WithTimeLimit(0ms));
    FAIL() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "the trial time limit must be from 1 ms to one day, not 0 ms");
  }
  try {
    LoadAll("orv_quiet", {kRoot / "quiet"}, WithTimeLimit(25h));
    FAIL() << "no exception";
  } catch (std::invalid_argument const& error) {
    EXPECT_STREQ(error.what(), "the trial time limit must be from 1 ms to one day, not 90000000 ms");
  }
  EXPECT_FALSE(IsLoaded(kRoot / "quiet" / "liborv_quiet.so"));
}

TEST(LoadAll, KillsATrialThatOutlivesItsTimeLimitWithWhatItStarted) {
  fs::path const hanging = kRoot / "hanging" / "liborv_hanging.so";
  fs::path const childFile = fs::temp_directory_path() / fs::unique_path("orv-hanging-%%%%-%%%%");
  ASSERT_EQ(setenv("ORV_TEST_HANGING_CHILD_FILE", childFile.c_str(), 1), 0);

  Report const report = LoadAll("orv_hanging", {kRoot / "hanging"}, WithTimeLimit(1s));
  Report const shorter = LoadAll("orv_hanging", {kRoot / "hanging"}, WithTimeLimit(300ms));
  unsetenv("ORV_TEST_HANGING_CHILD_FILE");

  EXPECT_TRUE(report.loaded.empty());
  ASSERT_EQ(report.failed.size(), 1U);
  EXPECT_EQ(report.failed[0].path, hanging);
  EXPECT_EQ(report.failed[0].error, "the trial load did not finish within 1 s");
  ASSERT_EQ(shorter.failed.size(), 1U);
  EXPECT_EQ(shorter.failed[0].error, "the trial load did not finish within 300 ms");
  EXPECT_FALSE(IsLoaded(hanging));

  // The scanners were killed and reaped; the process the initialiser started
  // was killed with them.
  EXPECT_TRUE(HasNoChildLeft());
  ASSERT_TRUE(Eventually([&] { return fs::exists(childFile); })) << "the fixture's process never wrote its id";
  pid_t child = 0;
  std::ifstream(childFile.string()) >> child;
  fs::remove(childFile);
  ASSERT_GT(child, 0);
  EXPECT_TRUE(Eventually([&] { return HasEnded(child); })) << "process " << child << " still runs";
}

TEST(LoadAll, AnInitialiserThatEndsTheProcessFailsEvenWithStatusZero) {
  Report const report = LoadAll("orv_ending_", {kRoot / "ending"});
  EXPECT_TRUE(report.loaded.empty());
  ASSERT_EQ(report.failed.size(), 2U);
  EXPECT_EQ(report.failed[0].path, kRoot / "ending" / "liborv_ending_a_exit.so");
  EXPECT_EQ(report.failed[0].error, "the initialiser ended the process with exit status 0");
  EXPECT_EQ(report.failed[1].path, kRoot / "ending" / "liborv_ending_b_quick_exit.so");
  EXPECT_EQ(report.failed[1].error, "the initialiser ended the process with exit status 0");
  EXPECT_TRUE(HasNoChildLeft());
}

TEST(LoadAll, WithoutAWorkingScannerLoadsNothingAndSaysWhyForEachFile) {
  fs::path const quiet = kRoot / "quiet" / "liborv_quiet.so";
  fs::path const missing = kRoot / "scanners" / "missing";
  fs::path const notAProgram = kRoot / "plugins" / "liborv_fixture_c_text.so";
  fs::path const silent = kRoot / "scanners" / "silent";
  fs::path const unknown = kRoot / "scanners" / "unknown";
  struct Case {
    fs::path scanner;
    std::string error;
  };
  for (Case const& scannerCase : {
           Case{missing, test::ScannerStartFailure(missing.string(), "No such file or directory")},
           Case{notAProgram, test::ScannerStartFailure(notAProgram.string(), "Permission denied")},
           Case{silent, "the plug-in scanner " + silent.string() + " ended before trying the file (exit status 0)"},
           Case{unknown, "the plug-in scanner sent an unknown verdict 'maybe'"},
       }) {
    Report const report = LoadAll("orv_quiet", {kRoot / "quiet"}, WithScanner(scannerCase.scanner));
    EXPECT_TRUE(report.loaded.empty()) << scannerCase.scanner;
    ASSERT_EQ(report.failed.size(), 1U) << scannerCase.scanner;
    EXPECT_EQ(report.failed[0].path, quiet);
    EXPECT_EQ(report.failed[0].error, scannerCase.error);
  }
  EXPECT_FALSE(IsLoaded(quiet));
  EXPECT_TRUE(HasNoChildLeft());
}

TEST(LoadAll, PreloadsWhatTheHostHoldsForAPlugInThatCannotFindItByName) {
  fs::path const needy = kRoot / "needy" / "liborv_needy.so";
  fs::path const needed = kRoot / "needed" / "liborv_fixture_needed.so";

  Report const alone = LoadAll("orv_needy", {kRoot / "needy"});
  EXPECT_TRUE(alone.loaded.empty());
  ASSERT_EQ(alone.failed.size(), 1U);
  EXPECT_EQ(alone.failed[0].error,
            "liborv_fixture_needed.so: cannot open shared object file: No such file or directory");

  // As a host that links the library holds it.
  void* const handle = dlopen(needed.c_str(), RTLD_NOW | RTLD_GLOBAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  Report const preloaded = LoadAll("orv_needy", {kRoot / "needy"}, WithPreload(needed));
  EXPECT_EQ(preloaded.loaded, std::vector<fs::path>{needy});
  EXPECT_TRUE(preloaded.failed.empty());
  EXPECT_TRUE(IsLoaded(needy));

  fs::path const absent = kRoot / "needed" / "liborv_absent.so";
  Report const missing = LoadAll("orv_needy", {kRoot / "needy"}, WithPreload(absent));
  ASSERT_EQ(missing.failed.size(), 1U);
  EXPECT_EQ(missing.failed[0].error, "could not load " + absent.string() + " first: " + absent.string() +
                                         ": cannot open shared object file: No such file or directory");
}

// Four threads allocate and hold a mutex of their own and the mutex that the
// fixture's initialiser takes, nearly all the time, while the plug-in loads.
TEST(LoadAll, CompletesWhileOtherThreadsRunAndHoldLocks) {
  std::atomic<bool> stop{false};
  std::atomic<int> rounds{0};
  std::mutex own;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      while (!stop) {
        orv_fixture_lock_shared();
        {
          std::lock_guard const lock(own);
          std::vector<std::unique_ptr<char[]>> blocks;
          for (int block = 0; block < 32; ++block) {
            blocks.push_back(std::make_unique<char[]>(1024));
          }
        }
        orv_fixture_unlock_shared();
        ++rounds;
        std::this_thread::yield();
      }
    });
  }
  while (rounds < 100) {
    std::this_thread::yield();
  }

  Report const report = LoadAll("orv_locking", {kRoot / "locking"});
  stop = true;
  for (auto& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(report.loaded, std::vector<fs::path>{kRoot / "locking" / "liborv_locking.so"});
  EXPECT_TRUE(report.failed.empty());
  EXPECT_EQ(orv_fixture_initialisations(), 1);
  EXPECT_TRUE(HasNoChildLeft());
}

TEST(Scanner, StartedByHandWithoutItsReportPipeExplainsItselfAndFails) {
  std::string const command = std::string("'") + ORV_TEST_SCANNER + "' file 3>&- 2>/dev/null";
  int const status = std::system(command.c_str());
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 2);
}

}  // namespace
}  // namespace orv::system::plugin
