#include <sstream>
#include <stdexcept>
#include <typeinfo>

#include "orv/object/object.hpp"
#include "orv/templating/serialize/archive/output/data.hpp"
#include "orv/templating/serialize/is.hpp"
#include "orv/type/demangle.hpp"

namespace orv::object {

void Object::Serialize(templating::serialize::archive::output::Data& archive) const {
  char const* const typeName = TypeName(GetTypeNameId());
  if (typeName == nullptr) {
    // Some ABIs mark local types with a leading '*' that the demangler rejects.
    char const* mangled = typeid(*this).name();
    if (*mangled == '*') {
      ++mangled;
    }
    std::ostringstream message;
    message << "The class has not been registered: " << type::Demangle(mangled);
    throw std::logic_error(message.str());
  }
  cereal::Is const is("typename", typeName);
  archive.SetNextName("typename");
  archive.SaveText(typeName);
  archive.SetNextName(is.GetNodeName());
  archive.StartNode();
  archive.SetNextName(is.GetKeyName());
  archive.StartNode();
  is.GetMarker().Serialize(archive);
  archive.FinishNode();
  archive.FinishNode();
}

}  // namespace orv::object
