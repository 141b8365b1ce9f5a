#pragma once

#include <cstddef>

#include "orv/geometry/export.hpp"

namespace orv::geometry {

template <class T, std::size_t N>
class Point;

// A point in the plane: x, then y.
template <class T>
class ORV_GEOMETRY_API Point<T, 2> {
 public:
  constexpr Point(T x, T y) : x_(x), y_(y) {}

  constexpr T const& GetX() const noexcept { return x_; }
  constexpr T const& GetY() const noexcept { return y_; }

  friend constexpr bool operator==(Point const&, Point const&) = default;

 private:
  T x_;
  T y_;
};

}  // namespace orv::geometry
