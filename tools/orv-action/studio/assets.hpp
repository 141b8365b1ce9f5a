#pragma once

#include <span>
#include <string_view>

namespace orv::tool::studio {

// One file of the studio's page, built into the program.
struct Asset {
  std::string_view path;         // as requested: "/", "/studio.js"
  std::string_view contentType;  // "text/html; charset=utf-8"
  std::string_view content;
};

// The page's files: its HTML at "/", its style sheet and its script.
std::span<Asset const> GetAssets();

}  // namespace orv::tool::studio
