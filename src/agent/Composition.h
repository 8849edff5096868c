#pragma once
// The agent's object graph, built in one place: the program, its tests, benchmarks and fuzz
// targets all make their world here, from the system's ports (Linux adapters or fakes) and a
// front end. Every collaborator is handed over in a constructor; members are declared (and so
// built) in the order the launch needs them, and torn down in reverse.

#include <atomic>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>

#include "agent/AppDelegate.h"
#include "agent/FrontEnd.h"
#include "commands/CommandRunner.h"
#include "configuration/Globals.h"
#include "configuration/HXConfiguration.h"
#include "configuration/HXPreferencesController.h"
#include "configuration/UserDefaults.h"
#include "decision/AlertAnswers.h"
#include "decision/AlertFactFinder.h"
#include "decision/DecisionContext.h"
#include "decision/HXNotifyController.h"
#include "intelligence/HXFlagsController.h"
#include "intelligence/HXSockController.h"
#include "intelligence/SignatureFacts.h"
#include "link/BridgeClassHalvex.h"
#include "link/Socketcon.h"
#include "link/StartSocket.h"
#include "link/managesocketagent.h"
#include "log/DaemonLogFilterStatus.h"
#include "log/HXConnectionController.h"
#include "management/DragSession.h"
#include "management/HXController.h"
#include "platform/BundleInfo.h"
#include "platform/CodeSignatures.h"
#include "platform/DirectoryListing.h"
#include "platform/DistributedNotificationCenter.h"
#include "platform/FileIcons.h"
#include "platform/FileSystem.h"
#include "platform/HostNames.h"
#include "platform/ProcessControl.h"
#include "platform/ProcessInfo.h"
#include "platform/ProcessOwners.h"
#include "platform/ProcessRunner.h"
#include "platform/RunningApplications.h"
#include "platform/StandardStreams.h"
#include "platform/SystemUsers.h"
#include "platform/TcpProbe.h"
#include "platform/UnixDatagramSockets.h"
#include "platform/WallClock.h"
#include "rules/RuleLibraries.h"
#include "rules/RulesContext.h"
#include "runtime/LineLogger.h"
#include "runtime/Paths.h"
#include "runtime/SerialQueue.h"

namespace halvex {

// The system as the agent reaches it: one reference per port.
struct Ports {
  const Paths& paths;
  const LineLogger& logger;
  FileSystem& fileSystem;
  ProcessInfo& processInfo;
  ProcessControl& processControl;
  ProcessOwners& processOwners;
  ProcessRunner& processRunner;
  UnixDatagramSockets& sockets;
  StandardStreams& streams;
  RunningApplications& runningApplications;
  DistributedNotificationCenter& distributedCenter;
  FileIcons& fileIcons;
  HostNames& hostNames;
  BundleInfo& bundleInfo;
  CodeSignatures& codeSignatures;
  TcpProbe& tcpProbe;
  DirectoryListing& directoryListing;
  SystemUsers& systemUsers;
  WallClock& wallClock;
  // Where whois reports are written (the log, in the program).
  std::ostream& reports;
  // The system's vendor as the signature reports name it.
  std::string signatureVendor;
  // The agent's own user.
  std::int32_t uid = 0;
};

class Composition {
 public:
  Composition(Ports ports, FrontEnd frontEnd);
  // Ends the two readers and the queues before the members their blocks use go.
  ~Composition();
  Composition(const Composition&) = delete;
  Composition& operator=(const Composition&) = delete;

  // Starts what loads in the background (the country zones), then posts the launch on the main
  // loop. Nothing slow stands before the request socket.
  void launch();
  // Starts the connection-event reader on its queue; the first call only. The live log calls it
  // when it comes up, so the launch does not.
  void startReadConnection();

  const Ports ports;
  const FrontEnd frontEnd;

  Globals globals{frontEnd.mainLoop};
  RulesContext rulesContext = makeRulesContext();
  UserDefaults userDefaults{ports.fileSystem, ports.paths.defaultsFile()};

  // Facts: commands, signatures, countries, whois and host names, process owners.
  CommandRunner commandRunner{ports.processRunner};
  // One inspection at a time: a library loaded at start asks about every app at once, and each
  // asks the package database.
  ConcurrentQueue signatureQueue{"signatures", 1};
  SignatureInspector signatureInspector{ports.codeSignatures, ports.fileSystem, frontEnd.mainLoop, signatureQueue,
                                        ports.signatureVendor};
  HXFlagsController flagsController{ports.paths, ports.fileSystem, ports.directoryListing};
  HXSockController sockController{ports.hostNames,
                                  ports.tcpProbe,
                                  commandRunner,
                                  frontEnd.mainLoop,
                                  globals.globalBackground,
                                  globals.notificationCenter,
                                  ports.reports,
                                  ports.paths.whoisProgram()};

  // The request channel: the reader hands each line to the bridge, the bridge to the intake.
  BridgeClassHalvex bridge;
  managesocketagent channel;
  StartSocket startSocket;
  // The connection events: the reader hands each line to the same bridge, which posts it.
  Socketcon socketcon;
  SerialQueue recvKextCon{"recvKextCon"};

  // The libraries and the controllers that change them.
  DragSession dragSession;
  HXController appsLibrary;
  ExclusionsLibraryHolder exclusionsLibrary;
  RecordsLibraryHolder recordsLibrary;
  // The live log and its switch; the preferences and the configuration hold its switch.
  DaemonLogFilterStatus logFilterStatus{commandRunner};
  HXConnectionController connectionController;
  // Until the update check exists, its hooks do nothing.
  UpdateTimer updates;
  HXPreferencesController preferences;
  HXConfiguration configuration;

  // The decision of each request, and the way answers come back from the alert.
  AlertAnswers alertAnswers;
  AlertFactFinder alertFacts{AlertFactFinder::Links{ports.fileIcons, ports.hostNames, commandRunner, flagsController,
                                                    globals.findFlag, ports.systemUsers, ports.processOwners,
                                                    signatureInspector}};
  DecisionContext decisionContext;
  HXNotifyController notifyController;

  AppDelegate appDelegate;

 private:
  RulesContext makeRulesContext();
  void inspectSignature(const std::weak_ptr<HXApplication>& app);

  std::atomic<bool> readConnectionStarted_{false};
};

}  // namespace halvex
