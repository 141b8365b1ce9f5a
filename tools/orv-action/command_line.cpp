#include "command_line.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

namespace orv::tool {

std::string Join(std::vector<std::string_view> const& names) {
  std::string joined;
  for (std::string_view const name : names) {
    joined.append(joined.empty() ? "" : ", ").append(name);
  }
  return joined.empty() ? "(none)" : joined;
}

std::string Join(std::vector<std::string> const& names) {
  return Join(std::vector<std::string_view>(names.begin(), names.end()));
}

bool WantsHelp(Arguments const& arguments) {
  return std::any_of(arguments.begin(), arguments.end(),
                     [](std::string const& argument) { return argument == "-h" || argument == "--help"; });
}

std::string ReadFile(std::string const& path) {
  if (path == "-") {
    return std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw InputError(path + ": cannot open: " + std::strerror(errno));
  }
  std::ostringstream content;
  content << file.rdbuf();
  if (file.bad()) {
    throw InputError(path + ": cannot read: " + std::strerror(errno));
  }
  return content.str();
}

}  // namespace orv::tool
