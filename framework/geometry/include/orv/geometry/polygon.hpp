#pragma once

#include <algorithm>
#include <utility>
#include <vector>

#include "orv/geometry/export.hpp"
#include "orv/geometry/normalized.hpp"
#include "orv/geometry/point.hpp"

namespace orv::geometry {

// The smallest axis-aligned rectangle around a set of points.
template <class T>
struct BoundingBox {
  Point<T, 2> topLeft;      // smallest x, smallest y
  Point<T, 2> bottomRight;  // largest x, largest y
};

// An ordered, possibly empty, sequence of points.
template <class T>
class ORV_GEOMETRY_API Polygon {
 public:
  Polygon() = default;
  explicit Polygon(std::vector<Point<T, 2>> points) : points_(std::move(points)) {}

  std::vector<Point<T, 2>> const& GetPoints() const noexcept { return points_; }

  // The bounding box of the points; both corners are T{0} for no points.
  BoundingBox<T> GetBoundingBox() const {
    if (points_.empty()) {
      return BoundingBox<T>{Point<T, 2>{T{0}, T{0}}, Point<T, 2>{T{0}, T{0}}};
    }
    T left = points_.front().GetX();
    T top = points_.front().GetY();
    T right = left;
    T bottom = top;
    for (Point<T, 2> const& point : points_) {
      left = std::min(left, point.GetX());
      right = std::max(right, point.GetX());
      top = std::min(top, point.GetY());
      bottom = std::max(bottom, point.GetY());
    }
    return BoundingBox<T>{Point<T, 2>{left, top}, Point<T, 2>{right, bottom}};
  }

  // Writes the polygon into the open node as SavePolygon does.
  void Save(templating::serialize::archive::output::Data& archive) const;

 private:
  std::vector<Point<T, 2>> points_;
};

// The outlines of zones and objects.
using NormalizedPolygon = Polygon<normalized::Value<unsigned short>>;

// Writes "outline", an array of maps each holding "x" and "y", and "rect"
// holding "top_left" and "bottom_right" of the bounding box, into the open
// node. Every point, the corners included, goes through normalized::Save, so
// with the Y flip set "top_left" holds the flipped smallest y.
ORV_GEOMETRY_API void SavePolygon(templating::serialize::archive::output::Data& archive, NormalizedPolygon polygon);

template <>
ORV_GEOMETRY_API void NormalizedPolygon::Save(templating::serialize::archive::output::Data& archive) const;

}  // namespace orv::geometry
