#include "configuration/ConfigurationSnapshot.h"

#include "configuration/HXPreferences.h"
#include "rules/HXApplication.h"
#include "rules/HXExclusion.h"
#include "rules/HXManagedRecords.h"
#include "runtime/KeyedArchive.h"
#include "runtime/PlistIO.h"

namespace halvex {

using plist::Array;
using plist::Dictionary;
using plist::Value;
using namespace snapshotkeys;

namespace {

Value stringArray(const std::vector<std::string>& items) {
  Array array;
  array.reserve(items.size());
  for (const auto& s : items) array.emplace_back(s);
  return Value(std::move(array));
}

bool endsWith(std::string_view s, std::string_view suffix) {
  return s.size() >= suffix.size() && s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string replaceAll(std::string_view s, std::string_view from, std::string_view to) {
  std::string out;
  out.reserve(s.size());
  std::size_t at = 0;
  for (auto hit = s.find(from); hit != std::string::npos; hit = s.find(from, at)) {
    out.append(s, at, hit - at);
    out.append(to);
    at = hit + from.size();
  }
  out.append(s, at, std::string::npos);
  return out;
}

// Reads the typed fields of one record, naming the first that is missing or of the wrong kind.
class FieldReader {
 public:
  FieldReader(const Dictionary& record, std::string where) : record_(record), where_(std::move(where)) {}

  bool text(const char* key, std::string& out) {
    const Value* v = record_.find(key);
    if (!v || !v->asString()) return fail(key, "a string", v);
    out = *v->asString();
    return true;
  }
  bool integer(const char* key, std::int64_t& out) {
    const Value* v = record_.find(key);
    if (v) {
      if (auto i = v->asInteger()) return out = *i, true;
      if (auto b = v->asBool()) return out = *b ? 1 : 0, true;
    }
    return fail(key, "an integer", v);
  }
  bool boolean(const char* key, bool& out, bool optional = false) {
    const Value* v = record_.find(key);
    if (!v && optional) return true;
    if (v) {
      if (auto b = v->asBool()) return out = *b, true;
      if (auto i = v->asInteger()) return out = *i != 0, true;
    }
    return fail(key, "a boolean", v);
  }
  bool strings(const char* key, std::vector<std::string>& out) {
    const Value* v = record_.find(key);
    if (!v || !v->asArray()) return fail(key, "an array of strings", v);
    out.clear();
    out.reserve(v->asArray()->size());
    for (const auto& item : *v->asArray()) {
      if (!item.asString()) return fail(key, "an array of strings", v);
      out.push_back(*item.asString());
    }
    return true;
  }
  const std::string& error() const { return error_; }

 private:
  bool fail(const char* key, const char* wanted, const Value* v) {
    error_ = where_ + ": " + key +
             (v ? std::string(" is a ") + plist::typeName(v->type()) + ", not " + wanted
                : std::string(" is missing (") + wanted + ")");
    return false;
  }

  const Dictionary& record_;
  std::string where_;
  std::string error_;
};

// The file's array, each element a dictionary.
std::variant<const Array*, SnapshotError> dictionaries(const Value& value, const char* what) {
  const Array* array = value.asArray();
  if (!array) return SnapshotError{std::string(what) + " is a " + plist::typeName(value.type()) + ", not an array"};
  for (std::size_t i = 0; i < array->size(); ++i)
    if (!(*array)[i].asDictionary())
      return SnapshotError{std::string(what) + ": element " + std::to_string(i) + " is a " +
                           plist::typeName((*array)[i].type()) + ", not a dictionary"};
  return array;
}

const std::string* className(const Dictionary& record) {
  const Value* v = record.find(kHalvexClassName);
  return v ? v->asString() : nullptr;
}

}  // namespace

namespace {

// The fields of an app's record, in key order, for either kind of receiver: our own dictionary,
// or the XML writer's nodes when a whole library is exported.
template <class Fields>
void applicationFields(const HXApplication& app, Fields& fields) {
  fields.string(kHalvexClassName, kApplication);
  fields.strings("appBinaries", app.appBinaries);
  fields.integer("appIsBlockedOrAllowed", app.appIsBlockedOrAllowed.load());
  fields.boolean("appIsBundle", app.appIsBundle.load());
  fields.strings("appMatches", app.appMatches);
  fields.string("appName", app.appName);
  fields.string("appPath", app.appPath);
}

struct DictionaryFields {
  Dictionary& record;
  void string(const char* key, const std::string& value) { record.set(key, Value(value)); }
  void integer(const char* key, std::int64_t value) { record.set(key, Value(value)); }
  void boolean(const char* key, bool value) { record.set(key, Value(value)); }
  void strings(const char* key, const std::vector<std::string>& values) { record.set(key, stringArray(values)); }
};

}  // namespace

plist::Dictionary applicationRecord(const HXApplication& app) {
  Dictionary record;
  record.reserve(7);
  DictionaryFields fields{record};
  applicationFields(app, fields);
  return record;
}

plist::Dictionary exclusionRecord(const HXExclusion& exclusion) {
  return Dictionary{{kHalvexClassName, Value(kExclusion)},
                    {"path", Value(exclusion.path)},
                    {"rule", Value(exclusion.rule)},
                    {"ignored", Value(exclusion.ignored)},
                    {"hardcoded", Value(exclusion.hardcoded)}};
}

plist::Dictionary managedRecordsRecord(const HXManagedRecords& record) {
  return Dictionary{{kHalvexClassName, Value(kManagedRecords)},
                    {"record", Value(record.record)},
                    {"type", Value(record.type)},
                    {"rule", Value(record.rule)}};
}

namespace {

// The one place that decides which records a snapshot holds and in what order.
template <class EmitRecord, class EmitApp>
void emitClassRecords(Dictionary preferences, const std::vector<std::shared_ptr<HXExclusion>>& exclusions,
                      const std::vector<std::shared_ptr<HXManagedRecords>>& records,
                      const std::vector<std::shared_ptr<HXApplication>>& apps, EmitRecord&& emitRecord,
                      EmitApp&& emitApp) {
  emitRecord(Value(std::move(preferences)));
  for (const auto& e : exclusions)
    if (e && !e->hardcoded) emitRecord(Value(exclusionRecord(*e)));
  for (const auto& r : records)
    if (r) emitRecord(Value(managedRecordsRecord(*r)));
  for (const auto& a : apps)
    if (a && !a->appHasTimer) emitApp(*a);
}

}  // namespace

plist::Array classRecords(plist::Dictionary preferences, const std::vector<std::shared_ptr<HXExclusion>>& exclusions,
                          const std::vector<std::shared_ptr<HXManagedRecords>>& records,
                          const std::vector<std::shared_ptr<HXApplication>>& apps) {
  Array out;
  out.reserve(1 + exclusions.size() + records.size() + apps.size());
  emitClassRecords(
      std::move(preferences), exclusions, records, apps, [&](Value record) { out.push_back(std::move(record)); },
      [&](const HXApplication& app) { out.emplace_back(applicationRecord(app)); });
  return out;
}

std::string plainConfigurationXml(plist::Dictionary preferences,
                                  const std::vector<std::shared_ptr<HXExclusion>>& exclusions,
                                  const std::vector<std::shared_ptr<HXManagedRecords>>& records,
                                  const std::vector<std::shared_ptr<HXApplication>>& apps) {
  plist::XmlArrayWriter writer;
  emitClassRecords(
      std::move(preferences), exclusions, records, apps, [&](const Value& record) { writer.append(record); },
      [&](const HXApplication& app) {
        writer.appendDictionary([&](plist::XmlArrayWriter::DictionaryItem& item) { applicationFields(app, item); });
      });
  return writer.finish();
}

plist::Dictionary encodedConfiguration(const plist::Array& records, const std::string& version) {
  return Dictionary{{kHalvexConfiguration, Value(keyedarchive::archivedDataWithRootObject(Value(records)))},
                    {kHalvexVersion, Value(version)},
                    {kHalvexClassName, Value(kHalvexConfiguration)}};
}

plist::Dictionary compactAppList(const std::vector<std::shared_ptr<HXApplication>>& apps,
                                 const std::vector<std::shared_ptr<HXExclusion>>& exclusions,
                                 const std::vector<std::shared_ptr<HXManagedRecords>>& records) {
  Array appList;
  appList.reserve(apps.size());
  for (const auto& a : apps) {
    if (!a) continue;
    appList.emplace_back(Dictionary{{"appBinaries", stringArray(a->appBinaries)},
                                    {"appIsBlockedOrAllowed", Value(a->appIsBlockedOrAllowed.load())},
                                    {"appMatches", stringArray(a->appMatches)}});
  }
  Array exclusionList;
  for (const auto& e : exclusions)
    if (e) exclusionList.emplace_back(Dictionary{{"path", Value(e->path)}, {"rule", Value(e->rule)}});
  Array recordList;
  for (const auto& r : records)
    if (r)
      recordList.emplace_back(
          Dictionary{{"record", Value(r->record)}, {"rule", Value(r->rule)}, {"type", Value(r->type)}});
  return Dictionary{{"AppList", Value(std::move(appList))},
                    {"ExclusionList", Value(std::move(exclusionList))},
                    {"RecordList", Value(std::move(recordList))}};
}

std::variant<SnapshotContents, SnapshotError> readSnapshot(std::string_view bytes) {
  auto parsed = plist::parse(bytes);
  if (auto* error = std::get_if<plist::ParseError>(&parsed))
    return SnapshotError{"not a property list (" + error->message + ")"};
  const Value& file = std::get<Value>(parsed);
  auto fileArray = dictionaries(file, "the file");
  if (auto* error = std::get_if<SnapshotError>(&fileArray)) return *error;
  const Array& records = *std::get<const Array*>(fileArray);

  std::size_t wrappers = 0;
  for (const auto& r : records)
    if (const auto* name = className(*r.asDictionary()); name && *name == kHalvexConfiguration) ++wrappers;

  // The encoded form: the records come out of the archive of every dictionary that holds one.
  Array unpacked;
  const Array* working = &records;
  if (wrappers == 1) {
    for (const auto& r : records) {
      const Value* data = r.asDictionary()->find(kHalvexConfiguration);
      if (!data) continue;
      if (!data->asData())
        return SnapshotError{"HalvexConfiguration is a " + std::string(plist::typeName(data->type())) + ", not data"};
      auto root = keyedarchive::unarchiveObjectWithData(*data->asData());
      if (auto* error = std::get_if<keyedarchive::ArchiveError>(&root))
        return SnapshotError{"the archived configuration cannot be read (" + error->message + ")"};
      auto inner = dictionaries(std::get<Value>(root), "the archived configuration");
      if (auto* error = std::get_if<SnapshotError>(&inner)) return *error;
      for (const auto& item : *std::get<const Array*>(inner)) unpacked.push_back(item);
    }
    working = &unpacked;
  }

  SnapshotContents out;
  for (std::size_t i = 0; i < working->size(); ++i) {
    const Dictionary& record = *(*working)[i].asDictionary();
    const std::string* name = className(record);
    if (!name) continue;
    const std::string where = "record " + std::to_string(i) + " (" + *name + ")";
    FieldReader fields(record, where);
    if (*name == kApplication) {
      ApplicationSnapshot app;
      if (!fields.text("appName", app.appName) || !fields.text("appPath", app.appPath) ||
          !fields.strings("appBinaries", app.appBinaries) || !fields.boolean("appIsBundle", app.appIsBundle) ||
          !fields.integer("appIsBlockedOrAllowed", app.appIsBlockedOrAllowed) ||
          !fields.strings("appMatches", app.appMatches))
        return SnapshotError{fields.error()};
      out.apps.push_back(std::move(app));
    } else if (*name == kExclusion) {
      ExclusionSnapshot exclusion;
      if (!fields.text("path", exclusion.path) || !fields.integer("rule", exclusion.rule) ||
          !fields.boolean("ignored", exclusion.ignored) || !fields.boolean("hardcoded", exclusion.hardcoded, true))
        return SnapshotError{fields.error()};
      out.exclusions.push_back(std::move(exclusion));
    } else if (*name == kManagedRecords) {
      ManagedRecordSnapshot managed;
      if (!fields.text("record", managed.record) || !fields.integer("type", managed.type) ||
          !fields.integer("rule", managed.rule))
        return SnapshotError{fields.error()};
      out.records.push_back(std::move(managed));
    } else if (*name == preferencekeys::kPreferencesClass) {
      if (auto problem = preferencesRecordProblem(record); !problem.empty()) {
        std::string text = where;
        text.append(": ").append(problem);
        return SnapshotError{text};
      }
      out.preferences.push_back(record);
    }
  }
  return out;
}

std::string repairedBundlePath(const std::string& appPath, bool appIsBundle) {
  if (!appIsBundle || endsWith(appPath, ".app")) return appPath;
  std::string joined;
  std::size_t start = 0;
  for (;;) {
    const auto slash = appPath.find('/', start);
    const auto component =
        std::string_view(appPath).substr(start, slash == std::string::npos ? std::string::npos : slash - start);
    joined += "/";
    joined += component;
    if (endsWith(joined, ".app") || slash == std::string::npos) break;
    start = slash + 1;
  }
  return replaceAll(replaceAll(joined, "//", "/"), "//", "/");
}

}  // namespace halvex
