#pragma once

#include <mstch/mstch.hpp>
#include <string>
#include <type_traits>
#include <vector>

#include "orv/templating/export.hpp"
#include "orv/templating/serialize/cereal.hpp"

namespace orv::templating::serialize::archive::output {

// An output archive that builds template data: a tree of mustache nodes in a
// caller's map. Values go into the node that is open: into a map under the
// pending name (see SetNextName), or appended to an array. Every number is
// stored as its decimal text in a string node; bools are the only non-text
// scalars. Nothing is rendered or escaped.
//
// One archive serves one serialisation on one thread; the tree belongs to the
// root map and stays there when the archive is destroyed.
class ORV_TEMPLATING_API Data : public cereal::OutputArchive<Data>, public cereal::traits::TextArchive {
 public:
  // Starts writing into `root`, which must outlive the archive; `root` is the
  // open node.
  explicit Data(mstch::map& root);
  Data(Data const&) = delete;
  Data& operator=(Data const&) = delete;
  ~Data();

  // Sets the name under which the next value or node goes into an open map.
  // A later call replaces a name that has not been used yet.
  void SetNextName(char const* name);
  // Returns the pending name and clears it; the empty key when none is set.
  std::string GetNextName();

  // Opens a child map: under the pending name in a map (replacing what the
  // slot held), appended in an array. The child becomes the open node.
  void StartNode();
  // Turns the node just opened by StartNode into an empty array with room for
  // `size` elements; values are then appended to it. On the root, which must
  // stay a map, it only makes the next value fail with boost::bad_get.
  void MakeArray(unsigned long size);
  // Closes the open node; writing continues in its parent. The root is never
  // closed.
  void FinishNode();

  // Writes one value into the open node. Defined for bool (a bool node) and,
  // as decimal text in a string node, for unsigned int, unsigned long,
  // unsigned long long, int, long, long long, float (widened to double) and
  // double. std::int64_t and std::uint64_t are among them on every target. Throws boost::bad_get, writing
  // nothing, when the open node is not the map or array it should be.
  template <class T>
  void SaveValue(T value);

  // Writes a string node holding `text` unchanged; as SaveValue otherwise.
  void SaveText(std::string text);

 private:
  enum class Kind : unsigned char { kObject, kArray };
  struct Frame {
    mstch::node* node;  // null for the root map
    Kind kind;
  };

  mstch::map& OpenMap();
  mstch::array& OpenArray();
  template <class V>
  void Put(V&& value);

  mstch::map& root_;
  std::vector<Frame> frames_;
  std::string nextName_;
};

template <>
void Data::SaveValue<bool>(bool value);
template <>
void Data::SaveValue<unsigned int>(unsigned int value);
template <>
void Data::SaveValue<unsigned long>(unsigned long value);
template <>
void Data::SaveValue<unsigned long long>(unsigned long long value);
template <>
void Data::SaveValue<int>(int value);
template <>
void Data::SaveValue<long>(long value);
template <>
void Data::SaveValue<long long>(long long value);
template <>
void Data::SaveValue<float>(float value);
template <>
void Data::SaveValue<double>(double value);

// Writes a string node holding `text` unchanged.
inline void Save(Data& archive, std::string const& text) { archive.SaveText(text); }

// cereal's dispatch by value type: `archive(cereal::make_nvp("count", 3u))`
// writes "count": "3".
template <class T>
requires std::is_same_v<T, bool> || std::is_same_v<T, unsigned int> || std::is_same_v<T, unsigned long> ||
    std::is_same_v<T, unsigned long long> || std::is_same_v<T, int> || std::is_same_v<T, long> ||
    std::is_same_v<T, long long> || std::is_same_v<T, float> || std::is_same_v<T, double>
void Save(Data& archive, T const& value) { archive.SaveValue<T>(value); }

// A name-value pair names the value it carries.
template <class T>
void Save(Data& archive, cereal::NameValuePair<T> const& pair) {
  archive.SetNextName(pair.name);
  archive(pair.value);
}

}  // namespace orv::templating::serialize::archive::output
