#pragma once

// The dotted type names of every typed value of the system. Each class that
// derives from orv::object::Object names itself with one of these, and
// orv::object::Object::TypeName knows all of them from process start.
namespace orv::object::type_name {

inline constexpr char kObjectBool[] = "orv.object.Bool";
inline constexpr char kObjectString[] = "orv.object.String";
inline constexpr char kObjectInteger[] = "orv.object.Integer";
inline constexpr char kObjectStringList[] = "orv.object.StringList";
inline constexpr char kObjectConstPointer[] = "orv.object.ConstPointer";
inline constexpr char kObjectPointer[] = "orv.object.Pointer";
inline constexpr char kPropertyBool[] = "orv.property.Bool";
inline constexpr char kPropertyString[] = "orv.property.String";
inline constexpr char kPropertyInteger[] = "orv.property.Integer";
inline constexpr char kPropertyStringList[] = "orv.property.StringList";
inline constexpr char kPropertyArrayConstPointer[] = "orv.property.Array.ConstPointer";
inline constexpr char kObservable[] = "orv.observable.Observable";
inline constexpr char kEvent[] = "orv.meta.data.Event";
inline constexpr char kMetaObservable[] = "orv.meta.data.Observable";
inline constexpr char kChannel[] = "orv.meta.data.Channel";
inline constexpr char kArmed[] = "orv.meta.data.Armed";
inline constexpr char kZone[] = "orv.meta.data.Zone";
inline constexpr char kTrackedObject[] = "orv.meta.data.Object";
inline constexpr char kText[] = "orv.meta.data.Text";
inline constexpr char kGpuStats[] = "orv.meta.data.GpuStats";
inline constexpr char kTampered[] = "orv.meta.data.Tampered";
inline constexpr char kColourSignature[] = "orv.meta.data.ColourSignature";
inline constexpr char kSegmentedColourSignature[] = "orv.meta.data.SegmentedColourSignature";
inline constexpr char kClassificationName[] = "orv.meta.data.classification.Name";
inline constexpr char kClassificationConfidence[] = "orv.meta.data.classification.Confidence";
inline constexpr char kCountValue[] = "orv.meta.data.count.Value";
inline constexpr char kCountLine[] = "orv.meta.data.count.Line";
inline constexpr char kArea[] = "orv.meta.data.object.Area";
inline constexpr char kCalibratedPosition[] = "orv.meta.data.object.CalibratedPosition";
inline constexpr char kGone[] = "orv.meta.data.object.Gone";
inline constexpr char kGroundPoint[] = "orv.meta.data.object.GroundPoint";
inline constexpr char kHeight[] = "orv.meta.data.object.Height";
inline constexpr char kHistory[] = "orv.meta.data.object.History";
inline constexpr char kMerged[] = "orv.meta.data.object.Merged";
inline constexpr char kPixelCount[] = "orv.meta.data.object.PixelCount";
inline constexpr char kSpeed[] = "orv.meta.data.object.Speed";
inline constexpr char kSplit[] = "orv.meta.data.object.Split";

// Every name above, in the order listed.
inline constexpr char const* kAll[] = {
    kObjectBool,
    kObjectString,
    kObjectConstPointer,
    kObjectPointer,
    kPropertyBool,
    kPropertyString,
    kPropertyArrayConstPointer,
    kObservable,
    kEvent,
    kMetaObservable,
    kChannel,
    kArmed,
    kZone,
    kTrackedObject,
    kText,
    kGpuStats,
    kTampered,
    kColourSignature,
    kSegmentedColourSignature,
    kClassificationName,
    kClassificationConfidence,
    kCountValue,
    kCountLine,
    kArea,
    kCalibratedPosition,
    kGone,
    kGroundPoint,
    kHeight,
    kHistory,
    kMerged,
    kPixelCount,
    kSpeed,
    kSplit,
    kObjectInteger,
    kObjectStringList,
    kPropertyInteger,
    kPropertyStringList,
};

}  // namespace orv::object::type_name
