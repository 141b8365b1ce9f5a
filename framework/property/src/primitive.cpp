#include "orv/property/primitive.hpp"

namespace orv::property {

template class Primitive<bool>;
template class Primitive<std::string>;

}  // namespace orv::property
