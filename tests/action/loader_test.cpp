#include "orv/action/loader.hpp"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "collision.hpp"
#include "echo.hpp"
#include "orv/action/action.hpp"
#include "orv/action/registry.hpp"
#include "orv/arm/state.hpp"
#include "orv/system/library_path.hpp"
#include "orv/test/emulator.hpp"
#include "orv/test/working_directory.hpp"

namespace orv::action {
namespace {

namespace fs = boost::filesystem;

hash::MurmurThree32 const kEcho(test::Echo::kTypeName);
hash::MurmurThree32 const kStray("orv.test.plugin.Stray");
hash::MurmurThree32 const kNamed("orv.test.plugin.Named");
hash::MurmurThree32 const kColliding(test::kCollidingFirst);

// The directory of this test's own copy of liborv_action, with the test plug-ins.
fs::path const kStage(ORV_TEST_STAGE_DIR);

using test::WorkingDirectory;

std::string ResultOf(std::shared_ptr<Action> const& action) {
  auto const result = std::static_pointer_cast<std::string const>(action->Test("made"));
  return result != nullptr ? *result : "(no result)";
}

// One test: plug-ins stay loaded for the life of the process.
TEST(Loader, LoadsThePlugInsNextToTheLibraryOnlyAndOnlyWhenAsked) {
  fs::path const strayDirectory(ORV_TEST_STRAY_DIR);
  ASSERT_EQ(system::GetLibraryPath("orv_action"), kStage / "liborv_action.so.1");
  ASSERT_TRUE(fs::exists(kStage / "liborv_action_a_notes.so"));
  ASSERT_TRUE(fs::exists(kStage / "liborv_action_testing.so"));
  ASSERT_TRUE(fs::exists(strayDirectory / "liborv_action_stray.so"));

  // Before any loading the plug-in's type is unknown.
  EXPECT_EQ(Action::Make(kEcho), nullptr);
  plugin::Loader const idle(false);
  EXPECT_EQ(Action::Make(kEcho), nullptr);
  EXPECT_EQ(Action::TypeName(kEcho), nullptr);

  {
    // While the plug-ins load and register, other threads look types up and
    // ask for the refused registrations, until they see the echo type.
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
      readers.emplace_back([] {
        while (Action::TypeName(kEcho) == nullptr) {
          registry::GetRefusals();
          Action::Make(kColliding);
        }
      });
    }
    // A plug-in in the working directory is never looked at.
    WorkingDirectory const there(strayDirectory);
    plugin::Loader const loader(true);
    for (auto& reader : readers) {
      reader.join();
    }
  }

  EXPECT_EQ(Action::Make(kStray), nullptr);
  EXPECT_EQ(system::GetLibraryPath("orv_action_testing"), kStage / "liborv_action_testing.so");
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

  // Of two registrations of one id, the first in name order stays.
  EXPECT_STREQ(Action::TypeName(kNamed), "orv.test.plugin.Named");
  EXPECT_EQ(ResultOf(Action::Make(kNamed)), "shadow");
  EXPECT_STREQ(Action::TypeName(kColliding), test::kCollidingFirst);
  EXPECT_EQ(ResultOf(Action::Make(kColliding)), "first");

  // Loading again is harmless.
  plugin::Loader const again(true);
  EXPECT_NE(Action::Make(kEcho), nullptr);
}

TEST(Loader, LoadReportsWhatLoadedWhatFailedAndEveryRefusedRegistration) {
  plugin::Report const report = plugin::Load();
  EXPECT_EQ(report.loaded,
            (std::vector<fs::path>{kStage / "liborv_action_aaa_shadow.so", kStage / "liborv_action_b_colliding.so",
                                   kStage / "liborv_action_c_colliding.so", kStage / "liborv_action_named.so",
                                   kStage / "liborv_action_testing.so"}));
  ASSERT_EQ(report.failed.size(), 1U);
  fs::path const notes = kStage / "liborv_action_a_notes.so";
  EXPECT_EQ(report.failed[0].path, notes);
  EXPECT_EQ(report.failed[0].error, notes.string() + ": invalid ELF header");

  ASSERT_EQ(report.refused.size(), 2U);
  registry::Refusal const& collision = report.refused[0];
  EXPECT_EQ(collision.typeName, test::kCollidingSecond);
  EXPECT_EQ(collision.typeNameId, kColliding);
  EXPECT_EQ(collision.file, kStage / "liborv_action_c_colliding.so");
  EXPECT_EQ(collision.holderTypeName, test::kCollidingFirst);
  EXPECT_EQ(collision.holderFile, kStage / "liborv_action_b_colliding.so");
  EXPECT_EQ(registry::Describe(collision),
            "orv.test.collision.Type129469 from " + (kStage / "liborv_action_c_colliding.so").string() +
                " was refused: its id 0x35e3cf75 is held by orv.test.collision.Type51627 from " +
                (kStage / "liborv_action_b_colliding.so").string() +
                ", another type name with the same id registered first");

  registry::Refusal const& shadowed = report.refused[1];
  EXPECT_EQ(shadowed.typeName, "orv.test.plugin.Named");
  EXPECT_EQ(shadowed.typeNameId, kNamed);
  EXPECT_EQ(shadowed.file, kStage / "liborv_action_named.so");
  EXPECT_EQ(shadowed.holderTypeName, "orv.test.plugin.Named");
  EXPECT_EQ(shadowed.holderFile, kStage / "liborv_action_aaa_shadow.so");
  EXPECT_EQ(registry::Describe(shadowed), "orv.test.plugin.Named from " + (kStage / "liborv_action_named.so").string() +
                                              " was refused: its id 0x56ef9617 is held by orv.test.plugin.Named from " +
                                              (kStage / "liborv_action_aaa_shadow.so").string() +
                                              ", the same type name registered first");
}

TEST(Loader, LoadPassesItsOptionsToTheTrial) {
  system::plugin::Options options;
  options.scanner = kStage / "no-scanner";
  plugin::Report const report = plugin::Load(options);
  ASSERT_EQ(report.failed.size(), 6U);
  for (auto const& failure : report.failed) {
    EXPECT_EQ(failure.error, test::ScannerStartFailure(options.scanner.string(), "No such file or directory"))
        << failure.path;
  }
  EXPECT_TRUE(report.loaded.empty());
}

// The real orv-action loads from the library directory: no test plug-in (nor
// the text file named like one) is built there.
TEST(Loader, TheRealLibraryDirectoryHoldsNoTestPlugIn) {
  fs::path const libraryDirectory(ORV_TEST_LIBRARY_DIR);
  int staged = 0;
  for (fs::directory_iterator it(kStage), end; it != end; ++it) {
    std::string const name = it->path().filename().string();
    if (name.starts_with("liborv_action_")) {
      ++staged;
      EXPECT_FALSE(fs::exists(libraryDirectory / name)) << name;
    }
  }
  EXPECT_EQ(staged, 6);
}

}  // namespace
}  // namespace orv::action
