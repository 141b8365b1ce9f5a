#include "orv/geometry/polygon.hpp"

#include "orv/templating/serialize/archive/output/data.hpp"

namespace orv::geometry {
namespace {

void SaveCorner(templating::serialize::archive::output::Data& archive, char const* name,
                Point<normalized::Value<unsigned short>, 2> const& corner) {
  archive.SetNextName(name);
  archive.StartNode();
  normalized::Save(archive, corner);
  archive.FinishNode();
}

}  // namespace

void SavePolygon(templating::serialize::archive::output::Data& archive, NormalizedPolygon polygon) {
  auto const box = polygon.GetBoundingBox();
  auto const& points = polygon.GetPoints();
  archive.SetNextName("outline");
  archive.StartNode();
  archive.MakeArray(points.size());
  for (auto const& point : points) {
    archive.StartNode();
    normalized::Save(archive, point);
    archive.FinishNode();
  }
  archive.FinishNode();
  archive.SetNextName("rect");
  archive.StartNode();
  SaveCorner(archive, "top_left", box.topLeft);
  SaveCorner(archive, "bottom_right", box.bottomRight);
  archive.FinishNode();
}

template <>
void NormalizedPolygon::Save(templating::serialize::archive::output::Data& archive) const {
  SavePolygon(archive, *this);
}

}  // namespace orv::geometry
