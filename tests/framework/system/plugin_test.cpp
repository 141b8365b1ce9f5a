#include "orv/system/plugin.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <string>
#include <vector>

#include "orv/system/library_path.hpp"

namespace orv::system::plugin {
namespace {

namespace fs = boost::filesystem;

fs::path const kFixtures(ORV_TEST_FIXTURES);

// How many times the good fixture's initialiser has run in this process.
int GoodInitialisations() {
  void* handle = dlopen((kFixtures / "liborv_fixture_d_good.so").c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) {
    return 0;
  }
  auto const count = reinterpret_cast<int (*)()>(dlsym(handle, "orv_fixture_good_initialisations"));
  int const result = count != nullptr ? count() : -1;
  dlclose(handle);
  return result;
}

std::vector<std::string> Paths(std::vector<Failure> const& failures) {
  std::vector<std::string> paths;
  for (auto const& failure : failures) {
    paths.push_back(failure.path.string());
  }
  return paths;
}

std::string At(std::string const& name) { return (kFixtures / name).string(); }

// One test, because a library stays loaded for the life of the process.
TEST(LoadAll, LoadsTheGoodFileAndReportsEveryFailureInNameOrder) {
  ASSERT_EQ(GoodInitialisations(), 0);
  fs::path const missing = kFixtures / "missing";

  Report const report = LoadAll("orv_fixture_", {kFixtures, missing});

  ASSERT_EQ(report.loaded.size(), 1U);
  EXPECT_EQ(report.loaded[0], kFixtures / "liborv_fixture_d_good.so");
  // The trial in a child process does not count: the initialiser ran here once.
  EXPECT_EQ(GoodInitialisations(), 1);
  EXPECT_EQ(GetLibraryPath("orv_fixture_d_good"), kFixtures / "liborv_fixture_d_good.so");

  ASSERT_EQ(Paths(report.failed),
            (std::vector<std::string>{At("liborv_fixture_a_empty.so"), At("liborv_fixture_b_throwing.so"),
                                      At("liborv_fixture_c_text.so"), At("liborv_fixture_e_unresolved.so"),
                                      At("liborv_fixture_f_aborting.so"), missing.string()}));
  EXPECT_EQ(report.failed[0].error, At("liborv_fixture_a_empty.so") + ": file too short");
  EXPECT_EQ(report.failed[1].error, "the initialiser threw: the fixture refuses to initialise");
  EXPECT_EQ(report.failed[2].error, At("liborv_fixture_c_text.so") + ": invalid ELF header");
  EXPECT_EQ(report.failed[3].error,
            At("liborv_fixture_e_unresolved.so") + ": undefined symbol: orv_fixture_missing_symbol");
  EXPECT_EQ(report.failed[4].error, "the initialiser was ended by signal 6 (Aborted)");
  EXPECT_EQ(report.failed[5].error, "No such file or directory");

  // Loading again finds the library already loaded: its initialiser does not run again.
  Report const again = LoadAll("orv_fixture_d_", {kFixtures});
  EXPECT_EQ(again.loaded, std::vector<fs::path>{kFixtures / "liborv_fixture_d_good.so"});
  EXPECT_TRUE(again.failed.empty());
  EXPECT_EQ(GoodInitialisations(), 1);
}

TEST(LoadAll, IgnoresFilesWithoutThePrefixOrTheSuffix) {
  Report const report = LoadAll("other_", {kFixtures});
  EXPECT_TRUE(report.loaded.empty());
  EXPECT_EQ(Paths(report.failed), std::vector<std::string>{At("libother_fixture.so")});
  EXPECT_TRUE(LoadAll("orv_fixture_g", {kFixtures}).failed.empty());
  EXPECT_TRUE(LoadAll("orv_fixture_g", {kFixtures}).loaded.empty());
}

TEST(LoadAll, WithNoDirectoriesDoesNothing) {
  Report const report = LoadAll("orv_fixture_", {});
  EXPECT_TRUE(report.loaded.empty());
  EXPECT_TRUE(report.failed.empty());
}

}  // namespace
}  // namespace orv::system::plugin
