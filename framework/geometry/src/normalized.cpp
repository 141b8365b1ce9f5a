#include "orv/geometry/normalized.hpp"

#include <atomic>
#include <cmath>

#include "orv/templating/serialize/archive/output/data.hpp"

namespace orv::geometry::normalized {
namespace {

std::atomic<bool> usingCustomRange{false};
std::atomic<std::uint32_t> customRangeMax{0};
std::atomic<bool> roundValues{false};
std::atomic<bool> flipYAxis{false};

}  // namespace

bool UsingCustomSerializedRange() noexcept { return usingCustomRange.load(std::memory_order_relaxed); }
void SetUsingCustomSerializedRange(bool on) noexcept { usingCustomRange.store(on, std::memory_order_relaxed); }
std::uint32_t GetCustomSerializedRangeMax() noexcept { return customRangeMax.load(std::memory_order_relaxed); }
void SetCustomSerializedRangeMax(std::uint32_t max) noexcept { customRangeMax.store(max, std::memory_order_relaxed); }
bool GetRoundSerializedValues() noexcept { return roundValues.load(std::memory_order_relaxed); }
void SetRoundSerializedValues(bool on) noexcept { roundValues.store(on, std::memory_order_relaxed); }
bool GetFlipSerializedYAxis() noexcept { return flipYAxis.load(std::memory_order_relaxed); }
void SetFlipSerializedYAxis(bool on) noexcept { flipYAxis.store(on, std::memory_order_relaxed); }

double ToSerialized(unsigned short raw) noexcept {
  double value = raw;
  if (UsingCustomSerializedRange()) {
    value = value / 65535.0 * static_cast<double>(GetCustomSerializedRangeMax());
    if (GetRoundSerializedValues()) {
      value = std::round(value);
    }
  }
  return value;
}

void SaveScalar(templating::serialize::archive::output::Data& archive, Value<unsigned short> value) {
  archive.SaveValue<double>(ToSerialized(value.GetValue()));
}

void Save(templating::serialize::archive::output::Data& archive, Point<Value<unsigned short>, 2> const& point) {
  unsigned short y = point.GetY().GetValue();
  if (GetFlipSerializedYAxis()) {
    y = static_cast<unsigned short>(65535 - y);
  }
  archive.SetNextName("x");
  SaveScalar(archive, point.GetX());
  archive.SetNextName("y");
  SaveScalar(archive, Value<unsigned short>{y});
}

}  // namespace orv::geometry::normalized
