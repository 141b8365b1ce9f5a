#include <gtest/gtest.h>

#include <fstream>
#include <mstch/mstch.hpp>
#include <sstream>
#include <string>

#include "golden_event.hpp"
#include "hand_built.hpp"
#include "orv/action/serialize.hpp"
#include "orv/network/address.hpp"
#include "orv/templating/template.hpp"
#include "orv/test/geometry_settings.hpp"
#include "orv/test/scoped_time_zone.hpp"
#include "orv/test/tree.hpp"

namespace orv::action {
namespace {

std::string ReadFile(std::string const& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << "cannot open " << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

void ReplaceAll(std::string& text, std::string const& from, std::string const& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

TEST(Golden, NotificationRendersToTheExpectedText) {
  test::ScopedTimeZone zone("<+0200>-2");
  std::string const tmplt = ReadFile(ORV_GOLDEN_DIR "/notification.mustache");
  std::string expected = ReadFile(ORV_GOLDEN_DIR "/notification.txt");
  // The device's name and address differ between machines.
  ReplaceAll(expected, "@HOST@", network::GetHostname());
  ReplaceAll(expected, "@IP@", network::GetLocalIPAddress().to_string());
  std::string const rendered = mstch::render(tmplt, SerializeEvent(examples::MakeGoldenEvent()));
  EXPECT_EQ(rendered, expected);
}

// Compiled templates render what mstch renders: the golden notification,
// escaping off on both sides.
TEST(Golden, CompiledTemplateRendersWhatMstchRenders) {
  test::ScopedTimeZone zone("<+0200>-2");
  std::string const tmplt = ReadFile(ORV_GOLDEN_DIR "/notification.mustache");
  std::string expected = ReadFile(ORV_GOLDEN_DIR "/notification.txt");
  ReplaceAll(expected, "@HOST@", network::GetHostname());
  ReplaceAll(expected, "@IP@", network::GetLocalIPAddress().to_string());
  mstch::map const data = SerializeEvent(examples::MakeGoldenEvent());
  auto const escape = mstch::config::escape;
  mstch::config::escape = [](std::string const& text) { return text; };
  std::string const byMstch = mstch::render(tmplt, data);
  mstch::config::escape = escape;
  std::string const compiled = templating::Template(tmplt, templating::Escape::None).Render(data);
  EXPECT_EQ(compiled, byMstch);
  EXPECT_EQ(compiled, expected);
}

// The benchmarks compare SerializeEvent with a hand-built tree; they measure
// the same work only while both trees are equal.
TEST(Golden, HandBuiltFloorBuildsTheSameTree) {
  auto const event = examples::MakeGoldenEvent();
  {
    test::ScopedTimeZone zone("<-0530>5:30");
    EXPECT_TRUE(test::SameTree(bench::HandBuiltTemplateData(*event), SerializeEvent(event)));
  }
  {
    test::ScopedGeometrySettings settings(true, 1000, false, true);
    EXPECT_TRUE(test::SameTree(bench::HandBuiltTemplateData(*event), SerializeEvent(event)));
  }
}

}  // namespace
}  // namespace orv::action
