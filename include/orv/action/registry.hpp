#pragma once

#include <boost/filesystem/path.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orv/action/export.hpp"
#include "orv/hash/murmur_three_32.hpp"
#include "orv/property/schema.hpp"
#include "orv/type/registry.hpp"

namespace orv::action {

class Action;

namespace registry {

// One registered action type: its type-name id and type name, the function
// that makes a new action of the type, and the function that lists the
// type's property schemas.
class ORV_ACTION_API Info {
 public:
  using Make = std::function<std::shared_ptr<Action>()>;
  using Schemas = std::function<std::vector<property::Schema>()>;

  // `typeName` is not copied: it must outlive the entry (a string literal of
  // the plug-in). The make function runs under the registry's lock, so it must
  // not call Action::Make, Action::TypeName or Action::GetTypeName.
  Info(hash::MurmurThree32 typeNameId, char const* typeName, Make make, Schemas schemas);

  hash::MurmurThree32 const& GetTypeNameId() const noexcept { return typeNameId_; }
  char const* GetTypeName() const noexcept { return typeName_; }
  Make const& GetMake() const noexcept { return make_; }

  // The type's property schemas. Terminates the process when the schemas
  // function is empty or throws: every type must register a working one.
  std::vector<property::Schema> GetSchemas() const noexcept;

 private:
  hash::MurmurThree32 typeNameId_;
  char const* typeName_;
  Make make_;
  Schemas schemas_;
};

// The one action type registry of the process. Plug-ins add their types with
// Get().Add(Info(...)) (see registration.hpp); the first entry for an id stays,
// and the registry keeps every entry it refused (GetRefusals).
ORV_ACTION_API type::Registry<Info>& Get();

// A registration that the registry refused because another type held its
// type-name id: the same type name registered before (a plug-in shadowing
// another's type), or a different name with the same 32-bit hash.
struct ORV_ACTION_API Refusal {
  std::string typeName;  // the refused type's name
  hash::MurmurThree32 typeNameId;
  boost::filesystem::path file;  // the file that registered it; empty when unknown
  std::string holderTypeName;    // the type that holds the id
  boost::filesystem::path holderFile;
};

// Every registration refused so far in this process, in the order they came.
// Each file is the loaded library (or the program) that holds the type name's
// text, which is where a Registration puts it. Takes the registry's lock (not
// while the dynamic loader's is needed), so it must not be called from a make
// function.
ORV_ACTION_API std::vector<Refusal> GetRefusals();

// One line naming the refused type, its file, its id and the type that holds
// the id, for example "orv.action.File from /usr/lib/liborv_action_file.so was
// refused: its id 0xd19e2905 is held by orv.action.File from
// /usr/lib/liborv_action_aaa_shadow.so, the same type name registered first".
// A type from a file that is not known is named without " from ...".
ORV_ACTION_API std::string Describe(Refusal const& refusal);

}  // namespace registry
}  // namespace orv::action
