#pragma once
// The configuration: the one place that turns the live rule library into something outside the
// agent can read, and back. It sends the compact rule list to the daemon after each change
// (newAppListReceived), hands it the whole configuration to store (writeHalvexConfiguration),
// writes and reads snapshot files, loads the configuration at launch and reads the per-user
// settings at start.

#include <functional>
#include <optional>
#include <string>

#include "configuration/ConfigurationSnapshot.h"
#include "configuration/Globals.h"
#include "configuration/UserDefaults.h"
#include "platform/Dialogs.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FileSystem.h"
#include "platform/ProcessControl.h"
#include "rules/AtomicField.h"
#include "rules/RuleLibraries.h"
#include "rules/RulesContext.h"
#include "runtime/LineLogger.h"
#include "runtime/Paths.h"

namespace halvex {

class HXPreferencesController;

namespace configurationnotifications {
inline constexpr const char* kNewAppListReceived = "newAppListReceived";
inline constexpr const char* kNewAppListReceivedObject = "it.dovik";
inline constexpr const char* kWriteHalvexConfiguration = "writeHalvexConfiguration";
inline constexpr const char* kWriteHalvexConfigurationObject = "it.halvex.writeHalvexConfiguration";
// On the agent's own centre: import the file named by the user info's presetPath.
inline constexpr const char* kLoadCustomPreset = "loadCustomPreset";
}  // namespace configurationnotifications

class HXConfiguration {
 public:
  struct Links {
    Globals& globals;
    const Paths& paths;
    FileSystem& fileSystem;
    DistributedNotificationCenter& distributedCenter;
    Dialogs& dialogs;
    ProcessControl& processControl;
    const LineLogger& logger;
    const RulesContext& rulesContext;
    UserDefaults& userDefaults;
    // The holders of the three libraries, and the controllers an import refreshes.
    AppsLibraryHolder& halvexcontroller;
    ExclusionsLibraryHolder& exclusioncontroller;
    RecordsLibraryHolder& recordscontroller;
    HXPreferencesController& preferencescontroller;
    ConnectionLogSwitch& connectioncontroller;
    UpdateTimer& updatecontroller;
  };

  // Observes loadCustomPreset on the agent's own centre.
  explicit HXConfiguration(Links links);
  ~HXConfiguration();
  HXConfiguration(const HXConfiguration&) = delete;
  HXConfiguration& operator=(const HXConfiguration&) = delete;

  // The progress indicator shown during an import.
  struct Progress {
    AtomicField<bool> animating{false};
    AtomicField<bool> hidden{true};
  } progr;

  std::string confPath() const { return links_.paths.confPath(); }

  // Posts newAppListReceived with the compact lists: every app of the library, every folder of
  // globalExclusionsArray (built-in ones too), every global rule of the records library.
  void sendConf();

  // Builds the class records. Not encoded: written to `path` as a plain array. Encoded, not for
  // the daemon: the wrapping dictionary written to `path` as a one-element array. Encoded for the
  // daemon: writeHalvexConfiguration is posted and no file is written (callers give "_"). Unless
  // `exitAgent`, the work is a barrier block on the synchronised queue, waited for; with it, it
  // runs at once on the calling thread.
  //
  // Exports and imports that wait for the queue are refused on the main loop while a request is
  // open (requestHoldsQueue): the request's answer needs the main loop.
  void exportConf(const std::string& path, bool encodeConf, bool sendDaemon, bool exitAgent);

  // Reads a snapshot of either form into the live state, on the synchronised queue, waited for.
  // The flag is not consulted: the reader tells the forms apart. A missing file changes nothing;
  // a file that cannot be read as a configuration ends the process before anything is replaced.
  void importConf(const std::string& path, bool decodeConf);

  // Launch: /etc/halvex.conf when it exists, else the bundle's first-run defaults "preset0".
  // The import ends with sendConf, before the request reader is started.
  void loadConfiguration();

  // Reads the settings of the defaults database, a key at a time, into their variables.
  void readUserDefaults();

  // An alert is on screen, or a request being decided holds the synchronised queue.
  bool requestHoldsQueue() const;

  // The file actions of the menu: a save or open panel, then an export or import. While a request
  // is open they do nothing, and open no panel.
  void exportConfToFile();
  void exportEncodedConfToFile();
  void importConfFromFile();
  void importEncodedConfFromFile();
  void loadCustomPreset(const std::string& presetPath);

 private:
  // Runs `work` on the synchronised queue and waits for it; false when refused (see exportConf).
  bool onQueue(const char* what, const std::function<void()>& work);
  void importNow(const std::string& path);
  void exportNow(const std::string& path, bool encodeConf, bool sendDaemon);
  void askAboutAutomaticXPC();
  std::optional<std::string> bundleDisplayName(const std::string& appPath) const;

  Links links_;
  NotificationCenter::Token customPresetObserver_ = 0;
};

}  // namespace halvex
