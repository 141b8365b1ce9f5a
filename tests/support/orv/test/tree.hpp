#pragma once

// Readable expected template trees and a comparison that names the first
// differing path, for tests of anything that writes template data.
//
//   EXPECT_TRUE(SameTree(Map({{"id", Text("7")}, {"mask", Bool(true)}}), actual));

#include <gtest/gtest.h>

#include <boost/variant/apply_visitor.hpp>
#include <boost/variant/get.hpp>
#include <initializer_list>
#include <mstch/mstch.hpp>
#include <sstream>
#include <string>
#include <utility>

namespace orv::test {

inline mstch::node Text(std::string text) { return mstch::node(std::move(text)); }
inline mstch::node Bool(bool value) { return mstch::node(value); }
inline mstch::map Map(std::initializer_list<std::pair<std::string const, mstch::node>> entries) {
  return mstch::map(entries);
}
inline mstch::node Node(mstch::map map) { return mstch::node(std::move(map)); }
inline mstch::array Array(std::initializer_list<mstch::node> elements) { return mstch::array(elements); }

// The object header of a record of type `typeName` followed by `fields`:
// "typename" and the marker "is" > "typename" > one map per dotted segment.
inline mstch::map WithHeader(std::string const& typeName,
                             std::initializer_list<std::pair<std::string const, mstch::node>> fields = {}) {
  mstch::node marker(true);
  std::string rest = typeName;
  std::size_t dot;
  while ((dot = rest.rfind('.')) != std::string::npos) {
    marker = mstch::map{{rest.substr(dot + 1), marker}};
    rest.erase(dot);
  }
  mstch::map map(fields);
  map.emplace("typename", Text(typeName));
  map.emplace("is", mstch::map{{"typename", mstch::map{{rest, marker}}}});
  return map;
}

inline char const* KindName(mstch::node const& node) {
  static constexpr char const* kNames[] = {"null",   "string", "int", "double", "bool",
                                           "lambda", "object", "map", "array"};
  return kNames[node.which()];
}

// A short one-line rendering of a node for failure messages.
inline std::string Describe(mstch::node const& node) {
  std::ostringstream out;
  switch (node.which()) {
    case 1:
      out << "string \"" << boost::get<std::string>(node) << '"';
      break;
    case 4:
      out << "bool " << (boost::get<bool>(node) ? "true" : "false");
      break;
    case 7: {
      out << "map {";
      char const* separator = "";
      for (auto const& [key, value] : boost::get<mstch::map>(node)) {
        out << separator << '"' << key << '"';
        separator = ", ";
      }
      out << '}';
      break;
    }
    case 8:
      out << "array of " << boost::get<mstch::array>(node).size();
      break;
    default:
      out << KindName(node);
  }
  return out.str();
}

namespace detail {

inline void Compare(mstch::node const& expected, mstch::node const& actual, std::string const& path,
                    std::ostringstream& differences, int& count) {
  auto report = [&](std::string const& what) {
    if (++count <= 20) {
      differences << "\n  at " << (path.empty() ? "(root)" : path) << ": " << what;
    }
  };
  if (expected.which() != actual.which()) {
    report("expected " + Describe(expected) + ", got " + Describe(actual));
    return;
  }
  switch (expected.which()) {
    case 0:
      return;
    case 1:
      if (boost::get<std::string>(expected) != boost::get<std::string>(actual)) {
        report("expected " + Describe(expected) + ", got " + Describe(actual));
      }
      return;
    case 4:
      if (boost::get<bool>(expected) != boost::get<bool>(actual)) {
        report("expected " + Describe(expected) + ", got " + Describe(actual));
      }
      return;
    case 7: {
      auto const& e = boost::get<mstch::map>(expected);
      auto const& a = boost::get<mstch::map>(actual);
      for (auto const& [key, value] : e) {
        auto const found = a.find(key);
        if (found == a.end()) {
          report("missing key \"" + key + "\" (expected " + Describe(value) + ")");
        } else {
          Compare(value, found->second, path.empty() ? key : path + "." + key, differences, count);
        }
      }
      for (auto const& [key, value] : a) {
        if (e.find(key) == e.end()) {
          report("unexpected key \"" + key + "\" holding " + Describe(value));
        }
      }
      return;
    }
    case 8: {
      auto const& e = boost::get<mstch::array>(expected);
      auto const& a = boost::get<mstch::array>(actual);
      if (e.size() != a.size()) {
        report("expected an array of " + std::to_string(e.size()) + ", got one of " + std::to_string(a.size()));
      }
      for (std::size_t i = 0; i < e.size() && i < a.size(); ++i) {
        Compare(e[i], a[i], path + "[" + std::to_string(i) + "]", differences, count);
      }
      return;
    }
    default:
      report(std::string("cannot compare nodes of kind ") + KindName(expected));
  }
}

}  // namespace detail

// Success when both trees hold the same keys, kinds and values everywhere;
// otherwise lists the differing paths (at most 20).
inline ::testing::AssertionResult SameTree(mstch::node const& expected, mstch::node const& actual) {
  std::ostringstream differences;
  int count = 0;
  detail::Compare(expected, actual, "", differences, count);
  if (count == 0) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure() << count << " difference(s):" << differences.str();
}

inline ::testing::AssertionResult SameTree(mstch::map const& expected, mstch::map const& actual) {
  return SameTree(mstch::node(expected), mstch::node(actual));
}

}  // namespace orv::test
