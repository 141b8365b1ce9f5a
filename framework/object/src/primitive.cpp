#include "orv/object/primitive.hpp"

namespace orv::object {

template class Primitive<bool>;
template class Primitive<std::string>;

}  // namespace orv::object
