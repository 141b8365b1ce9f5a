#include <algorithm>
#include <array>
#include <cstddef>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "orv/object/object.hpp"

namespace orv::object {
namespace {

struct Entry {
  std::uint32_t id;
  char const* name;
};

constexpr std::size_t kBuiltInCount = std::size(type_name::kAll);

// The built-in names sorted by id at compile time, so a look-up is a binary
// search with no start-up code.
constexpr std::array<Entry, kBuiltInCount> MakeBuiltIns() {
  std::array<Entry, kBuiltInCount> entries{};
  for (std::size_t i = 0; i < kBuiltInCount; ++i) {
    entries[i] = Entry{hash::MurmurThree32(type_name::kAll[i]).GetValue(), type_name::kAll[i]};
  }
  std::sort(entries.begin(), entries.end(), [](Entry const& a, Entry const& b) { return a.id < b.id; });
  return entries;
}

constexpr std::array<Entry, kBuiltInCount> kBuiltIns = MakeBuiltIns();

char const* FindBuiltIn(std::uint32_t id) noexcept {
  auto const it = std::lower_bound(kBuiltIns.begin(), kBuiltIns.end(), id,
                                   [](Entry const& e, std::uint32_t v) { return e.id < v; });
  return it != kBuiltIns.end() && it->id == id ? it->name : nullptr;
}

struct Added {
  std::shared_mutex mutex;
  std::unordered_map<std::uint32_t, char const*> names;
};

Added& GetAdded() {
  static Added added;
  return added;
}

}  // namespace

char const* Object::TypeName(hash::MurmurThree32 const& id) {
  if (char const* name = FindBuiltIn(id.GetValue())) {
    return name;
  }
  Added& added = GetAdded();
  std::shared_lock lock(added.mutex);
  auto const it = added.names.find(id.GetValue());
  return it == added.names.end() ? nullptr : it->second;
}

bool AddTypeName(char const* name) {
  std::uint32_t const id = hash::MurmurThree32(name).GetValue();
  if (FindBuiltIn(id) != nullptr) {
    return false;
  }
  Added& added = GetAdded();
  std::unique_lock lock(added.mutex);
  return added.names.emplace(id, name).second;
}

}  // namespace orv::object
