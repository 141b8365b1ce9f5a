#include "orv/meta/data/event.hpp"

namespace orv::meta::data {

Event::Event(std::string name, std::string type, std::string category, TimePoint start, Objects objects)
    : Event(orv::object::TypeIdOf<Event>, std::move(name), std::move(type), std::move(category), start,
            std::move(objects)) {}

Event::Event(hash::MurmurThree32 typeNameId, std::string name, std::string type, std::string category, TimePoint start,
             Objects objects)
    : Object(typeNameId),
      name_(std::move(name)),
      type_(std::move(type)),
      category_(std::move(category)),
      start_(start),
      end_(start),
      objects_(std::move(objects)) {}

Event::~Event() = default;

}  // namespace orv::meta::data
