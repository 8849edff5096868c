#pragma once
// The root of the agent: the order of everything at launch and at quit.

#include <functional>
#include <string>

#include "configuration/Globals.h"
#include "platform/Dialogs.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FileSystem.h"
#include "platform/RunningApplications.h"
#include "platform/StandardStreams.h"
#include "runtime/LineLogger.h"
#include "runtime/Paths.h"

namespace halvex {

class managesocketagent;
class HXConfiguration;

class AppDelegate {
 public:
  struct Links {
    Globals& globals;
    const Paths& paths;
    const LineLogger& logger;
    DistributedNotificationCenter& distributedCenter;
    StandardStreams& streams;
    RunningApplications& runningApplications;
    Dialogs& dialogs;
    FileSystem& fileSystem;
    // The configuration read at start and saved at quit.
    HXConfiguration& myHXConfiguration;
    // Schedules the request reader on recvDaemonQueue.
    std::function<void()> startRequestReader;
    // Wakes the live log once the configuration is in: its purge timer, its switch, its reader.
    std::function<void()> wakeConnectionLog;
    // Ends the main loop with an exit code; the program then ends.
    std::function<void(int)> quitMainLoop;
  };

  explicit AppDelegate(Links links);

  void applicationDidFinishLaunching();
  void applicationWillTerminate();
  // True when another instance of the agent runs in this session.
  bool checkHalvex();
  void startapp();
  void startHalvex();
  void start();
  // The plain quit: applicationWillTerminate, then the end of the main loop.
  void terminate();
  // The quit that also stops filtering; it waits behind any open request.
  void alternateQuitHalvexAgent();
  void getVersion();

  // What the about box shows.
  std::string aboutVersionLabel;

 private:
  Links links_;
  bool terminating_ = false;
};

}  // namespace halvex
