#include "orv/system/library_path.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <stdexcept>

#include "orv/test/working_directory.hpp"

namespace orv::system {
namespace {

namespace fs = boost::filesystem;

using test::WorkingDirectory;

TEST(GetLibraryPath, FindsALinkedLibraryThroughTheDynamicLoader) {
  EXPECT_EQ(GetLibraryPath("orv_system"), fs::path(ORV_TEST_SYSTEM_LIBRARY));
}

TEST(GetLibraryPath, DoesNotDependOnTheWorkingDirectory) {
  WorkingDirectory const elsewhere(fs::temp_directory_path());
  EXPECT_EQ(GetLibraryPath("orv_system"), fs::path(ORV_TEST_SYSTEM_LIBRARY));
}

TEST(GetLibraryPath, MatchesTheWholeBaseNameOnly) {
  try {
    GetLibraryPath("orv_sys");
    FAIL() << "a prefix of a base name matched";
  } catch (std::runtime_error const& error) {
    EXPECT_STREQ(error.what(), "No loaded shared library has the base name 'orv_sys'");
  }
}

TEST(GetLibraryPath, ThrowsNamingALibraryThatIsNotLoaded) {
  try {
    GetLibraryPath("orv_not_loaded");
    FAIL() << "no exception";
  } catch (std::runtime_error const& error) {
    EXPECT_STREQ(error.what(), "No loaded shared library has the base name 'orv_not_loaded'");
  }
}

TEST(GetLibraryPath, MakesALibraryLoadedUnderARelativePathAbsolute) {
  fs::path const root(ORV_TEST_FIXTURE_ROOT);
  void* handle = nullptr;
  {
    WorkingDirectory const there(root);
    handle = dlopen("relative/liborv_relative.so", RTLD_NOW);
    ASSERT_NE(handle, nullptr) << dlerror();
  }
  WorkingDirectory const elsewhere(fs::temp_directory_path());
  fs::path const found = GetLibraryPath("orv_relative");
  EXPECT_TRUE(found.is_absolute()) << found;
  EXPECT_EQ(found.filename(), "liborv_relative.so");
  EXPECT_TRUE(fs::equivalent(found, root / "relative" / "liborv_relative.so")) << found;
}

}  // namespace
}  // namespace orv::system
