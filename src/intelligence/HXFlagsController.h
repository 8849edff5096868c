#pragma once
// Where an address lies: the per-country zone files, loaded once, and the location the alert shows
// for an address (special ranges first, then the country search).
//
// Zone directory: the shared one of the path table when it exists, otherwise "aggregated" among
// the resources. Each file "<code>-aggregated.zone" holds one IPv4 network per line.

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "intelligence/CountryIndex.h"
#include "platform/DirectoryListing.h"
#include "platform/FileSystem.h"
#include "runtime/ConcurrentQueue.h"
#include "runtime/MainLoop.h"
#include "runtime/Paths.h"

namespace halvex {

inline constexpr std::string_view kZoneSuffix = "-aggregated.zone";
inline constexpr std::string_view kUnknownLocation = "Unknown location";
inline constexpr std::string_view kUnknownLocationImage = "terra";

// What the alert shows for the location of an address.
struct NationLocation {
  std::string name;        // attributedNation
  std::string image;       // named image for nationFlag
  bool clipRound = false;  // the image is clipped to a circle
  bool operator==(const NationLocation&) const = default;
};

class HXFlagsController {
 public:
  // `hasImage` tells whether a named image exists; by default a flag image is looked for as
  // "<resources>/flags/<name>.png".
  HXFlagsController(const Paths& paths, const FileSystem& files, const DirectoryListing& listing,
                    std::function<bool(const std::string&)> hasImage = {});

  void awakeFromNib() { makeDict(); }
  // Loads the zones of the directory in use and builds the index, then publishes the result in
  // one step, replacing what was loaded. May run on any thread while look-ups run on others: a
  // look-up sees the old table or the new one whole, and before the first load the table is
  // empty, so every look-up answers nothing.
  void makeDict();

  std::string thePath() const;
  // A snapshot of the table: code as in the file name -> lines of the file.
  std::shared_ptr<const NationsTable> nationsTable() const;
  bool isEmpty() const;
  // Figures of the loaded index.
  std::size_t networkCount() const;
  std::size_t indexMemoryBytes() const;

  // The code of the first zone that holds the address (as the file name spells it), by the index.
  std::optional<std::string> search(std::string_view address) const;
  // The same answer by walking every line of every zone.
  std::optional<std::string> searchLinear(std::string_view address) const;

  // The alert's location of an address: loopback, local networks and the vendor's own network by
  // their prefixes, then the country. Nothing when no look-up is to be made: an address without
  // "." (IPv6), or no zone data at all. Blocks for the search: never call on the main loop.
  std::optional<NationLocation> locate(std::string_view address) const;
  // Looks the address up on `queue` ("findFlag") and hands the location to `deliver` on the main
  // loop. False, and nothing is started, when `locate` would answer nothing.
  bool findFlag(std::string address, ConcurrentQueue& queue, MainLoop& loop,
                std::function<void(const NationLocation&)> deliver) const;

  // Reads every "<code>-aggregated.zone" of a directory into a table (what makeDict loads).
  static NationsTable loadZones(const FileSystem& files, const DirectoryListing& listing, const std::string& directory);

 private:
  struct Loaded {
    std::string thePath;
    NationsTable table;
    CountryIndex index;
  };
  std::shared_ptr<const Loaded> loaded() const;
  NationLocation countryLocation(const std::optional<std::string>& code) const;

  const Paths paths_;  // a copy: the table is small and a caller's temporary must not dangle
  const FileSystem& files_;
  const DirectoryListing& listing_;
  std::function<bool(const std::string&)> hasImage_;
  mutable std::mutex mutex_;
  std::shared_ptr<const Loaded> loaded_;
};

}  // namespace halvex
