#pragma once
// One row of the connection log: one connection the firewall passed or blocked, with the process
// behind it, made fit for display. Records live in memory only.
//
// Threads. A record is made on the main loop, and the fields its row shows are read and written
// there only. Its slow facts (the icon, the reverse host name) are looked up on a background
// queue from copies of what they need, and each comes back as a block on the main loop that sets
// one field; that block holds the record, so a record outlives its row while a look-up runs.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/FileIcons.h"
#include "platform/HostNames.h"
#include "platform/WallClock.h"
#include "runtime/ConcurrentQueue.h"
#include "runtime/Graphics.h"
#include "runtime/MainLoop.h"

namespace halvex {

class HXConnection;

// What a full record is made with: the main loop and its clock, the background queue of the
// look-ups, and their ports. Owned by the log's controller.
struct ConnectionContext {
  MainLoop& mainLoop;
  ConcurrentQueue& background;
  const FileIcons& fileIcons;
  const HostNames& hostNames;
  const WallClock& wallClock;
  // The host names switch of the live log, read on the main loop.
  std::function<bool()> hostNamesOn;
  // Called on the main loop after a late fact has landed in a record.
  std::function<void(const HXConnection&)> recordChanged;
};

class HXConnection : public std::enable_shared_from_this<HXConnection> {
 public:
  using Date = std::chrono::steady_clock::time_point;

  // Text fields start empty, numbers 0, flags false.
  std::string connString;
  std::int64_t connCount = 0;
  std::string connProcessName;  // the full path, in spite of the name
  std::string connSimpleName;   // what the row shows: the last component, or a helper's app
  std::string connIPAddress;
  std::int64_t connPort = 0;
  std::int32_t connPID = 0;
  std::string connUID;  // decimal, or "-1"
  Image connImage;
  std::string connDate;  // the local date and time, as the user's locale writes them
  std::string connHostname;
  Date connRealDate{};  // on the main loop's clock: the age of the row counts from it
  Image connNationFlag;
  bool connIsBlocked = false;
  Color connColor;
  std::string connViaApp;
  std::string xpcPath;
  std::string connRepresentedPID;
  std::string connRepresentedPORT;
  std::string connRepresentedXPC;
  bool connBelongsToOtherUser = false;
  bool connIsRoot = false;

  // The base record: `connString` and `connIPAddress` hold the text, `connCount` the count.
  static std::shared_ptr<HXConnection> initWithConnString(const std::string& connString, std::int64_t connCount);

  // The full record of one connection, on the main loop. Its icon, and its host name while host
  // names are on, are looked up on the context's background queue and land later.
  static std::shared_ptr<HXConnection> initWithConnProcessName(const ConnectionContext& context,
                                                               const std::string& connProcessName,
                                                               const std::string& connIPAddress, std::int64_t connPort,
                                                               std::int32_t connPID, const std::string& connUID,
                                                               bool connBlocked, const std::string& connViaApp,
                                                               const std::string& xpcPath, bool otherUser);

  // On the main loop: a new reverse look-up while host names are on; otherwise the host name is
  // the address again at once.
  void updateRecord(const ConnectionContext& context);

  // The icon of a path: for a path inside a bundle (".app/Contents/"), the bundle's.
  static Image getIcon(const FileIcons& icons, const std::string& path);
  // The bundle a path lies in, or the path itself.
  static std::string iconPath(const std::string& path);

 private:
  void lookUpIcon(const ConnectionContext& context);
  void lookUpHostname(const ConnectionContext& context);
};

}  // namespace halvex
