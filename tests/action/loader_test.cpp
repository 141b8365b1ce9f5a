#include "orv/action/loader.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <memory>
#include <string>

#include "echo.hpp"
#include "orv/action/action.hpp"
#include "orv/action/registry.hpp"
#include "orv/arm/state.hpp"
#include "orv/system/library_path.hpp"
#include "orv/test/working_directory.hpp"

namespace orv::action {
namespace {

namespace fs = boost::filesystem;

hash::MurmurThree32 const kEcho(test::Echo::kTypeName);
hash::MurmurThree32 const kStray("orv.test.plugin.Stray");

using test::WorkingDirectory;

// One test: plug-ins stay loaded for the life of the process.
TEST(Loader, LoadsThePlugInsNextToTheLibraryOnlyAndOnlyWhenAsked) {
  fs::path const libraryDirectory(ORV_TEST_LIBRARY_DIR);
  fs::path const strayDirectory(ORV_TEST_STRAY_DIR);
  ASSERT_TRUE(fs::exists(libraryDirectory / "liborv_action_a_notes.so"));
  ASSERT_TRUE(fs::exists(libraryDirectory / "liborv_action_testing.so"));
  ASSERT_TRUE(fs::exists(strayDirectory / "liborv_action_stray.so"));

  // Before any loading the plug-in's type is unknown.
  EXPECT_EQ(Action::Make(kEcho), nullptr);
  plugin::Loader const idle(false);
  EXPECT_EQ(Action::Make(kEcho), nullptr);
  EXPECT_EQ(Action::TypeName(kEcho), nullptr);

  {
    // A plug-in in the working directory is never looked at.
    WorkingDirectory const there(strayDirectory);
    plugin::Loader const loader(true);
  }

  EXPECT_EQ(Action::Make(kStray), nullptr);
  EXPECT_EQ(system::GetLibraryPath("orv_action_testing"), libraryDirectory / "liborv_action_testing.so");
  EXPECT_STREQ(Action::TypeName(kEcho), "orv.test.plugin.Echo");

  // The text file named like a plug-in, before it in name order, did not stop it.
  auto const action = Action::Make(kEcho);
  ASSERT_NE(action, nullptr);
  EXPECT_EQ(action->GetTypeNameId(), kEcho);
  auto const result = std::static_pointer_cast<std::string const>(action->Test("hello"));
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(*result, "hello");

  // The action made in the plug-in works on the event path too.
  auto const observable = std::make_shared<observable::Observable>(3);
  action->AddObservable(observable);
  arm::SetState(1);
  observable->Publish(std::make_shared<meta::data::Event>("published", "type", "category", meta::data::TimePoint{},
                                                          meta::data::Objects{}));
  arm::SetState(0);
  EXPECT_EQ(std::static_pointer_cast<test::Echo const>(action)->GetExecutedNames(),
            (std::vector<std::string>{"hello", "published"}));

  // The plug-in's type lists the three common schemas.
  {
    auto const map = registry::Get().GetMap();
    auto const schemas = map->at(kEcho).GetSchemas();
    ASSERT_EQ(schemas.size(), 3U);
    EXPECT_EQ(schemas[0].GetProperty()->GetName(), "name");
    EXPECT_EQ(schemas[1].GetProperty()->GetName(), "observables");
    EXPECT_EQ(schemas[2].GetProperty()->GetName(), "always_trigger");
  }

  // Loading again is harmless.
  plugin::Loader const again(true);
  EXPECT_NE(Action::Make(kEcho), nullptr);
}

TEST(Loader, LoadReportsWhatLoadedAndWhatFailed) {
  fs::path const libraryDirectory(ORV_TEST_LIBRARY_DIR);
  system::plugin::Report const report = plugin::Load();
  // The project's own plug-ins are built into the same directory.
  EXPECT_NE(std::find(report.loaded.begin(), report.loaded.end(), libraryDirectory / "liborv_action_testing.so"),
            report.loaded.end());
  ASSERT_EQ(report.failed.size(), 1U);
  fs::path const notes = libraryDirectory / "liborv_action_a_notes.so";
  EXPECT_EQ(report.failed[0].path, notes);
  EXPECT_EQ(report.failed[0].error, notes.string() + ": invalid ELF header");
}

}  // namespace
}  // namespace orv::action
