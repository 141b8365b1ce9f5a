// Looking names up in deeply nested sections goes through notes that long
// walks down the context stack leave behind, and that go stale when their
// frames leave the stack. Random templates over random data must render
// exactly as a plain walk of the whole stack says they do.

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "orv/templating/template.hpp"

namespace orv::templating {
namespace {

using Text = std::string;

char const* const kKeys[] = {"a", "b", "c", "d", "e", "x"};

// A template as a tree, to render it both ways.
struct Tag {
  enum Kind { kText, kValue, kSection, kInverted } kind;
  std::vector<Text> name;  // dotted segments; text for kText
  std::vector<Tag> body;
};

Text Dotted(std::vector<Text> const& name) {
  Text text;
  for (Text const& segment : name) {
    text += (text.empty() ? "" : ".") + segment;
  }
  return text;
}

Text Source(std::vector<Tag> const& tags) {
  Text text;
  for (Tag const& tag : tags) {
    switch (tag.kind) {
      case Tag::kText:
        text += tag.name.front();
        break;
      case Tag::kValue:
        text += "{{" + Dotted(tag.name) + "}}";
        break;
      case Tag::kSection:
      case Tag::kInverted:
        text += Text("{{") + (tag.kind == Tag::kSection ? "#" : "^") + Dotted(tag.name) + "}}" + Source(tag.body) +
                "{{/" + Dotted(tag.name) + "}}";
        break;
    }
  }
  return text;
}

// What the reference rendering went through.
struct Walks {
  std::size_t deepest = 0;  // the most frames on the stack
  int long_ = 0;            // look-ups that passed more than four maps
};

// The mustache look-up, walking the whole stack from its top.
mstch::node const* Find(std::vector<mstch::node const*> const& stack, std::vector<Text> const& name, Walks& walks) {
  mstch::node const* found = nullptr;
  int maps = 0;
  for (auto frame = stack.rbegin(); frame != stack.rend() && found == nullptr; ++frame) {
    if (auto const* map = boost::get<mstch::map>(*frame)) {
      auto const entry = map->find(name.front());
      found = entry != map->end() ? &entry->second : nullptr;
      ++maps;
    }
  }
  walks.long_ += maps > 4 ? 1 : 0;
  for (std::size_t i = 1; found != nullptr && i < name.size(); ++i) {
    auto const* map = boost::get<mstch::map>(found);
    auto const entry = map != nullptr ? map->find(name[i]) : mstch::map::const_iterator{};
    found = map != nullptr && entry != map->end() ? &entry->second : nullptr;
  }
  return found;
}

bool IsTruthy(mstch::node const* node) {
  if (node == nullptr) {
    return false;
  }
  if (auto const* text = boost::get<Text>(node)) {
    return !text->empty();
  }
  if (auto const* flag = boost::get<bool>(node)) {
    return *flag;
  }
  if (auto const* list = boost::get<mstch::array>(node)) {
    return !list->empty();
  }
  return boost::get<mstch::map>(node) != nullptr;
}

void Render(std::vector<Tag> const& tags, std::vector<mstch::node const*>& stack, Text& out, Walks& walks) {
  walks.deepest = std::max(walks.deepest, stack.size());
  for (Tag const& tag : tags) {
    if (tag.kind == Tag::kText) {
      out += tag.name.front();
      continue;
    }
    mstch::node const* const value = Find(stack, tag.name, walks);
    if (tag.kind == Tag::kValue) {
      if (auto const* text = value != nullptr ? boost::get<Text>(value) : nullptr) {
        out += *text;
      } else if (auto const* flag = value != nullptr ? boost::get<bool>(value) : nullptr) {
        out += *flag ? "true" : "false";
      }
    } else if (tag.kind == Tag::kInverted) {
      if (!IsTruthy(value)) {
        Render(tag.body, stack, out, walks);
      }
    } else if (auto const* list = value != nullptr ? boost::get<mstch::array>(value) : nullptr) {
      for (mstch::node const& element : *list) {
        stack.push_back(&element);
        Render(tag.body, stack, out, walks);
        stack.pop_back();
      }
    } else if (IsTruthy(value)) {
      stack.push_back(value);
      Render(tag.body, stack, out, walks);
      stack.pop_back();
    }
  }
}

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}

  int Below(int n) { return std::uniform_int_distribution<int>(0, n - 1)(engine_); }
  // One of "a" to "e", mostly one that holds maps.
  Text Branch() { return kKeys[Below(10) < 8 ? Below(3) : 3 + Below(2)]; }

  // Maps nest up to `depth` more levels under "a" and "b" and in lists under
  // "c", each present or not; "d" and "e" are texts or booleans. "x", which
  // the values look up, lies in one map of eight, so that it is often found
  // many maps down.
  mstch::map Data(int depth) {
    mstch::map map;
    if (depth > 0 && Below(10) != 0) {
      map.emplace("a", Data(depth - 1));
    }
    if (depth > 0) {
      map.emplace("b", Below(10) < 7 ? mstch::node(Data(depth - 1)) : mstch::node(false));
    }
    if (depth > 0 && Below(2) == 0) {
      mstch::array list;
      for (int i = Below(3); i > 0; --i) {
        list.emplace_back(Data(depth - 1));
      }
      map.emplace("c", std::move(list));
    }
    for (char const* key : {"d", "e"}) {
      if (Below(2) == 0) {
        map.emplace(key, Leaf(key));
      }
    }
    if (Below(8) == 0) {
      map.emplace("x", Leaf("x"));
    }
    return map;
  }

  // A text or a boolean, true or false.
  mstch::node Leaf(char const* key) {
    switch (Below(4)) {
      case 0:
        return Text(key) + std::to_string(Below(100));
      case 1:
        return Text();
      default:
        return Below(3) != 0;
    }
  }

  // A section's name: a branch, sometimes dotted.
  std::vector<Text> SectionName() {
    std::vector<Text> name{Branch()};
    if (Below(4) == 0) {
      name.push_back(Branch());
    }
    return name;
  }

  // A value's name: "x" mostly, sometimes under a branch or a branch itself.
  std::vector<Text> ValueName() {
    switch (Below(4)) {
      case 0:
        return {Branch(), "x"};
      case 1:
        return {Branch()};
      default:
        return {"x"};
    }
  }

  // Sections nest up to `depth` more levels, one or two in every body, and
  // every body writes something.
  std::vector<Tag> Tags(int depth) {
    std::vector<Tag> tags{{Tag::kText, {"|"}, {}}};
    for (int i = Below(3); i > 0; --i) {
      if (Below(3) == 0) {
        tags.push_back({Tag::kInverted, Below(2) == 0 ? ValueName() : SectionName(), {{Tag::kText, {"^"}, {}}}});
      } else {
        tags.push_back({Tag::kValue, ValueName(), {}});
      }
    }
    if (depth > 0) {
      // Mostly over "a", which is almost always there: the sections nest deep.
      int const spine = Below(10);
      tags.push_back({Tag::kSection, {spine < 8 ? "a" : kKeys[spine - 7]}, Tags(depth - 1)});
    }
    if (depth > 0 && Below(3) == 0) {
      tags.push_back({Below(4) == 0 ? Tag::kInverted : Tag::kSection, SectionName(), Tags(depth - 1)});
    }
    return tags;
  }

 private:
  std::mt19937 engine_;
};

TEST(NameLookup, DeepSectionsFindWhatAWalkOfTheWholeStackFinds) {
  Random random(20260101);
  Walks walks;
  int deep = 0;
  for (int round = 0; round < 60; ++round) {
    mstch::map const data = random.Data(8);
    std::vector<Tag> const tags = random.Tags(12);
    mstch::node const root = data;
    std::vector<mstch::node const*> stack{&root};
    Text expected;
    walks.deepest = 0;
    Render(tags, stack, expected, walks);
    Text const source = Source(tags);
    EXPECT_EQ(Template(source, Escape::None).Render(data), expected) << source;
    deep += walks.deepest > 8 ? 1 : 0;
  }
  // Enough look-ups walk past more maps than a short walk does, so that
  // notes are made, used and dropped.
  EXPECT_GT(deep, 25);
  EXPECT_GT(walks.long_, 500);
}

// A name found deep down the stack from sections over lists: every element
// replaces the frame that the notes of the previous element were made for.
TEST(NameLookup, NotesOfAnElementDoNotServeTheNext) {
  mstch::array elements;
  for (int i = 0; i < 3; ++i) {
    elements.emplace_back(
        mstch::map{{"inner", mstch::map{{"deep", mstch::map{{"deeper", mstch::map{{"deepest", mstch::map{}}}}}}}},
                   {"v", Text(std::to_string(i))}});
  }
  mstch::map const data{{"list", elements}, {"v", Text("root")}};
  Template const compiled(
      "{{#list}}{{#inner}}{{#deep}}{{#deeper}}{{#deepest}}{{v}}{{/deepest}}{{/deeper}}{{/deep}}{{/inner}}{{/list}}"
      "/{{v}}",
      Escape::None);
  EXPECT_EQ(compiled.Render(data), "012/root");
}

}  // namespace
}  // namespace orv::templating
