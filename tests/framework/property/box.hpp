#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "orv/observable/observable.hpp"
#include "orv/property/property.hpp"

namespace orv::test {

// An owner for external properties: plain fields behind accessor functions
// that log every call.
struct Box {
  std::string text;
  bool flag = false;
  property::Property::Observables list;
  std::vector<std::string> calls;
};

inline std::string GetText(Box const* box) { return box->text; }
inline void SetText(Box* box, std::string text) {
  box->calls.push_back("SetText " + text);
  box->text = std::move(text);
}
inline bool GetFlag(Box const* box) { return box->flag; }
inline void SetFlag(Box* box, bool flag) {
  box->calls.push_back(flag ? "SetFlag true" : "SetFlag false");
  box->flag = flag;
}
inline property::Property::Observables GetList(Box const* box) { return box->list; }
inline void SetList(Box* box, property::Property::Observables list) {
  box->calls.push_back("SetList " + std::to_string(list.size()));
  box->list = std::move(list);
}
inline void AddItem(Box* box, std::shared_ptr<observable::Observable const> item) {
  box->calls.push_back("AddItem " + std::to_string(item->GetId()));
  box->list.push_back(std::move(item));
}
inline void EraseItem(Box* box, std::shared_ptr<observable::Observable const> item) {
  box->calls.push_back("EraseItem " + std::to_string(item->GetId()));
  box->list.erase(std::remove(box->list.begin(), box->list.end(), item), box->list.end());
}
inline void SetItemAt(Box* box, unsigned long index, std::shared_ptr<observable::Observable const> item) {
  box->calls.push_back("SetItemAt " + std::to_string(index) + " " + std::to_string(item->GetId()));
  box->list.at(index) = std::move(item);
}

}  // namespace orv::test
