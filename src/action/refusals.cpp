#include <dlfcn.h>
#include <link.h>

#include <boost/filesystem/operations.hpp>
#include <iomanip>
#include <sstream>
#include <utility>

#include "orv/action/registry.hpp"

namespace orv::action::registry {
namespace {

namespace fs = boost::filesystem;

// What GetRefusals reads under the registry's lock: the texts' addresses,
// which name their files only once the lock is released.
struct Refused {
  hash::MurmurThree32 typeNameId;
  char const* typeName;
  char const* holderTypeName;
};

// The file of the loaded library (or program) that holds `address`; empty
// when none does.
fs::path FileHolding(void const* address) {
  Dl_info info{};
  void* extra = nullptr;
  if (address == nullptr || dladdr1(address, &info, &extra, RTLD_DL_LINKMAP) == 0) {
    return {};
  }
  auto const* map = static_cast<link_map const*>(extra);
  if (map != nullptr && map->l_name != nullptr && map->l_name[0] == '\0') {
    // The program itself, which the dynamic loader knows by no usable name.
    boost::system::error_code error;
    fs::path program = fs::read_symlink("/proc/self/exe", error);
    return error ? fs::path() : program;
  }
  return info.dli_fname != nullptr ? fs::path(info.dli_fname) : fs::path();
}

std::string Text(char const* typeName) { return typeName != nullptr ? typeName : ""; }

std::string Named(std::string const& typeName, fs::path const& file) {
  std::string text = typeName.empty() ? "a type without a name" : typeName;
  return file.empty() ? text : text + " from " + file.string();
}

}  // namespace

std::vector<Refusal> GetRefusals() {
  // The dynamic loader holds its own lock while an initialiser registers
  // (registry lock inside it); dladdr takes that lock, so it runs only once
  // the registry's is released.
  std::vector<Refused> refused;
  {
    auto const entries = Get().GetRefused();
    for (Info const& entry : *entries) {
      refused.push_back({entry.GetTypeNameId(), entry.GetTypeName(), nullptr});
    }
  }
  {
    auto const map = Get().GetMap();
    for (Refused& entry : refused) {
      // Entries are never removed: the holder of a refused id is there.
      entry.holderTypeName = map->at(entry.typeNameId).GetTypeName();
    }
  }
  std::vector<Refusal> refusals;
  for (Refused const& entry : refused) {
    refusals.push_back({Text(entry.typeName), entry.typeNameId, FileHolding(entry.typeName), Text(entry.holderTypeName),
                        FileHolding(entry.holderTypeName)});
  }
  return refusals;
}

std::string Describe(Refusal const& refusal) {
  std::ostringstream text;
  text << Named(refusal.typeName, refusal.file) << " was refused: its id 0x" << std::hex << std::setw(8)
       << std::setfill('0') << refusal.typeNameId.GetValue() << " is held by "
       << Named(refusal.holderTypeName, refusal.holderFile) << ", "
       << (refusal.typeName == refusal.holderTypeName ? "the same type name" : "another type name with the same id")
       << " registered first";
  return text.str();
}

}  // namespace orv::action::registry
