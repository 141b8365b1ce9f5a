#include "orv/property/primitive.hpp"

namespace orv::property {

template class Primitive<bool>;
template class Primitive<std::string>;
template class Primitive<std::int64_t>;
template class Primitive<std::vector<std::string>>;

}  // namespace orv::property
