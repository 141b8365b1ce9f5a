// Runs every test of the mustache language's official core test files
// (tests/data/mustache, MIT licensed) against Template.

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <string>
#include <vector>

#include "json_data.hpp"
#include "orv/templating/template.hpp"

namespace orv::templating {
namespace {

struct Case {
  std::string file;
  std::string name;
  nlohmann::json test;
};

std::vector<Case> LoadCases() {
  std::vector<Case> cases;
  for (char const* file : {"comments", "delimiters", "interpolation", "inverted", "partials", "sections"}) {
    std::ifstream in(std::string(ORV_MUSTACHE_TEST_DIR) + "/" + file + ".json");
    if (!in) {
      continue;  // CountsEveryTest fails then
    }
    nlohmann::json const suite = nlohmann::json::parse(in);
    for (auto const& test : suite.at("tests")) {
      cases.push_back({file, test.at("name").get<std::string>(), test});
    }
  }
  return cases;
}

std::vector<Case> const& Cases() {
  static std::vector<Case> const cases = LoadCases();
  return cases;
}

class MustacheSuite : public testing::TestWithParam<Case> {};

TEST_P(MustacheSuite, RendersTheExpectedText) {
  nlohmann::json const& test = GetParam().test;
  Partials partials;
  if (test.contains("partials")) {
    partials = test.at("partials").get<Partials>();
  }
  Template const compiled(test.at("template").get<std::string>(), Escape::Html, partials);
  EXPECT_EQ(compiled.Render(test::ToNode(test.at("data"))), test.at("expected").get<std::string>())
      << test.at("desc").get<std::string>();
}

std::string CaseName(testing::TestParamInfo<Case> const& info) {
  std::string name = info.param.file + "_";
  for (char const c : info.param.name) {
    name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Core, MustacheSuite, testing::ValuesIn(Cases()), CaseName);

TEST(MustacheSuiteFiles, CountsEveryTest) { EXPECT_EQ(Cases().size(), 136U); }

}  // namespace
}  // namespace orv::templating
