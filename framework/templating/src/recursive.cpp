#include "orv/templating/serialize/recursive.hpp"

#include <cstring>
#include <string>

#include "orv/templating/serialize/archive/output/data.hpp"

namespace cereal {

void Recursive<bool const>::Serialize(orv::templating::serialize::archive::output::Data& archive) const {
  char const* const dot = std::strchr(name, '.');
  if (dot == nullptr) {
    archive.SetNextName(name);
    archive.SaveValue<bool>(*value);
    return;
  }
  std::string const head(name, dot);
  archive.SetNextName(head.c_str());
  archive.StartNode();
  Recursive<bool const>{dot + 1, value}.Serialize(archive);
  archive.FinishNode();
}

}  // namespace cereal
