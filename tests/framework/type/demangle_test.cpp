#include "orv/type/demangle.hpp"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <typeinfo>

namespace orv::type {
namespace {

struct Local {};

TEST(Demangle, GivesTheReadableName) {
  EXPECT_EQ(Demangle(typeid(int).name()), "int");
  EXPECT_EQ(Demangle(typeid(std::map<int, char>).name()),
            "std::map<int, char, std::less<int>, std::allocator<std::pair<int const, char> > >");
  EXPECT_EQ(Demangle(typeid(Local).name()), "orv::type::(anonymous namespace)::Local");
}

TEST(Demangle, ReturnsTextThatIsNotAMangledNameUnchanged) {
  EXPECT_EQ(Demangle("not a mangled name"), "not a mangled name");
}

}  // namespace
}  // namespace orv::type
