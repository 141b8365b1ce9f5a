#pragma once

#include <functional>
#include <memory>
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
// Get().Add(Info(...)) (see registration.hpp); the first entry for an id stays.
ORV_ACTION_API type::Registry<Info>& Get();

}  // namespace registry
}  // namespace orv::action
