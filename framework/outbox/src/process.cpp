#include "orv/outbox/process.hpp"

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <unordered_set>
#include <utility>

namespace orv::outbox {

struct Endpoint::Record {
  std::function<std::string()> key;
  std::function<Terms()> terms;
  std::atomic<std::uint64_t> version{0};
  std::atomic<std::uint64_t> cooledDown{0};
  // Where the sender was registered last, under the directory's lock: the
  // installation (0: none), the key and the version of the terms.
  std::uint64_t installation = 0;
  std::string registeredKey;
  std::uint64_t registeredVersion = 0;
};

namespace {

// The process-wide state. Never destroyed: actions of plug-ins may outlive
// the static objects of this library at exit.
struct Directory {
  std::mutex mutex;
  std::shared_ptr<Outbox> installed;
  // Counts installations, so that a new outbox at the address of an old one
  // is still a new one.
  std::uint64_t installation = 0;
  std::unordered_set<Endpoint::Record*> endpoints;
};

Directory& GetDirectory() {
  static Directory* const directory = new Directory;
  return *directory;
}

std::string DuplicateText(std::string const& key) {
  return "two network actions have the key '" + key +
         "' (the same type and name): each needs a name of its own, since its messages are kept under it";
}

// Registers the record's current terms under `key` with the installed outbox.
// Called with the directory's lock held.
void Register(Directory const& directory, Endpoint::Record& record, std::string const& key) {
  auto const version = record.version.load();
  Endpoint::Terms terms = record.terms();
  directory.installed->Register(key, std::move(terms.sender), terms.policy);
  record.installation = directory.installation;
  record.registeredKey = key;
  record.registeredVersion = version;
}

}  // namespace

std::string MakeActionKey(std::string_view typeName, std::string_view name) {
  std::string key;
  key.reserve(typeName.size() + 1 + name.size());
  return key.append(typeName).append("/").append(name);
}

std::shared_ptr<Outbox> Install(std::shared_ptr<Outbox> outbox) {
  auto& directory = GetDirectory();
  std::lock_guard const lock(directory.mutex);
  std::vector<std::pair<Endpoint::Record*, std::string>> keyed;
  std::unordered_set<std::string> seen;
  for (auto* record : directory.endpoints) {
    std::string key = record->key();
    if (!seen.insert(key).second) {
      throw std::invalid_argument(DuplicateText(key));
    }
    keyed.emplace_back(record, std::move(key));
  }
  auto previous = std::exchange(directory.installed, std::move(outbox));
  ++directory.installation;
  if (directory.installed) {
    for (auto& [record, key] : keyed) {
      Register(directory, *record, key);
    }
  }
  return previous;
}

std::shared_ptr<Outbox> GetInstalled() {
  auto& directory = GetDirectory();
  std::lock_guard const lock(directory.mutex);
  return directory.installed;
}

std::vector<std::string> GetActionKeys() {
  auto& directory = GetDirectory();
  std::lock_guard const lock(directory.mutex);
  std::vector<std::string> keys;
  keys.reserve(directory.endpoints.size());
  for (auto* record : directory.endpoints) {
    keys.push_back(record->key());
  }
  return keys;
}

std::map<std::string, Counters> GetActionCounters() {
  auto& directory = GetDirectory();
  std::lock_guard const lock(directory.mutex);
  std::map<std::string, Counters> counters;
  if (directory.installed) {
    counters = directory.installed->GetAllCounters();
  }
  for (auto* record : directory.endpoints) {
    counters[record->key()].cooledDown += record->cooledDown.load(std::memory_order_relaxed);
  }
  return counters;
}

Endpoint::Endpoint(std::function<std::string()> key, std::function<Terms()> terms)
    : record_(std::make_shared<Record>()) {
  if (!key || !terms) {
    throw std::invalid_argument("an outbox endpoint needs a key and terms");
  }
  record_->key = std::move(key);
  record_->terms = std::move(terms);
  auto& directory = GetDirectory();
  std::lock_guard const lock(directory.mutex);
  directory.endpoints.insert(record_.get());
}

Endpoint::~Endpoint() {
  auto& directory = GetDirectory();
  std::lock_guard const lock(directory.mutex);
  directory.endpoints.erase(record_.get());
}

void Endpoint::Changed() noexcept { record_->version.fetch_add(1); }

std::shared_ptr<Outbox> Endpoint::Attach(std::string const& key) {
  auto& directory = GetDirectory();
  std::lock_guard const lock(directory.mutex);
  if (!directory.installed) {
    return nullptr;
  }
  auto& record = *record_;
  if (record.installation == directory.installation && record.registeredKey == key &&
      record.registeredVersion == record.version.load()) {
    return directory.installed;
  }
  if (record.registeredKey != key || record.installation != directory.installation) {
    for (auto const* other : directory.endpoints) {
      if (other != &record && other->installation == directory.installation && other->registeredKey == key) {
        throw std::invalid_argument(DuplicateText(key));
      }
    }
  }
  Register(directory, record, key);
  return directory.installed;
}

void Endpoint::CountCooledDown() noexcept { record_->cooledDown.fetch_add(1, std::memory_order_relaxed); }

std::uint64_t Endpoint::GetCooledDown() const noexcept { return record_->cooledDown.load(std::memory_order_relaxed); }

}  // namespace orv::outbox
