#include "agent/Composition.h"

#include <mutex>

#include "rules/HXApplication.h"

namespace halvex {

Composition::Composition(Ports systemPorts, FrontEnd frontEndBundle)
    : ports(std::move(systemPorts)),
      frontEnd(std::move(frontEndBundle)),
      bridge(
          globals.synchronizedNotification, [this](const std::string& line) { notifyController.addRequest(line); },
          ports.distributedCenter),
      channel(ports.sockets, ports.processInfo, ports.processControl, ports.logger, bridge, ports.paths.agentSocket(),
              ports.paths.daemonSocket()),
      startSocket(channel, globals.recvDaemonQueue),
      socketcon(ports.sockets, ports.logger, bridge, ports.paths.kernelEventSocket()),
      appsLibrary(HXController::Links{globals, rulesContext, frontEnd.dialogs, userDefaults, dragSession, channel,
                                      [this] { configuration.sendConf(); },
                                      [this] { preferences.updatePreferencesGUI(); }}),
      connectionController(HXConnectionController::Links{globals,
                                                         preferences,
                                                         appsLibrary,
                                                         channel,
                                                         ports.processOwners,
                                                         ports.distributedCenter,
                                                         ports.processControl,
                                                         ports.logger,
                                                         commandRunner,
                                                         ports.fileIcons,
                                                         ports.hostNames,
                                                         ports.wallClock,
                                                         frontEnd.workspace,
                                                         frontEnd.pasteboard,
                                                         frontEnd.dialogs,
                                                         ports.runningApplications,
                                                         logFilterStatus,
                                                         ports.paths,
                                                         ports.uid,
                                                         [this] { startReadConnection(); }}),
      preferences(HXPreferencesController::Links{globals, ports.paths, userDefaults, ports.distributedCenter,
                                                 frontEnd.dialogs, frontEnd.soundPlayer, appsLibrary,
                                                 connectionController, updates, [this] { configuration.sendConf(); }}),
      configuration(HXConfiguration::Links{globals, ports.paths, ports.fileSystem, ports.distributedCenter,
                                           frontEnd.dialogs, ports.processControl, ports.logger, rulesContext,
                                           userDefaults, appsLibrary, exclusionsLibrary, recordsLibrary, preferences,
                                           connectionController, updates}),
      decisionContext{globals,
                      channel,
                      ports.processControl,
                      rulesContext,
                      frontEnd.alertPresenter,
                      alertAnswers,
                      ports.logger,
                      alertFacts,
                      ports.processOwners,
                      frontEnd.soundPlayer,
                      frontEnd.dialogs,
                      frontEnd.pasteboard,
                      frontEnd.workspace,
                      commandRunner,
                      userDefaults,
                      frontEnd.prefersDark,
                      frontEnd.screenFrame},
      notifyController(
          decisionContext, ports.uid, ports.distributedCenter,
          [this](const std::vector<std::string>& fields) { connectionController.buildConnection(fields); }),
      appDelegate(AppDelegate::Links{globals, ports.paths, ports.logger, ports.distributedCenter, ports.streams,
                                     ports.runningApplications, frontEnd.dialogs, ports.fileSystem, configuration,
                                     [this] { startSocket.start(); }, [this] { connectionController.awakeFromNib(); },
                                     frontEnd.quit}) {}

RulesContext Composition::makeRulesContext() {
  return RulesContext{
      .mainLoop = frontEnd.mainLoop,
      .notificationCenter = globals.notificationCenter,
      .fileSystem = ports.fileSystem,
      .fileIcons = ports.fileIcons,
      .hostNames = ports.hostNames,
      .bundleInfo = ports.bundleInfo,
      .labelColors = [this] { return globals.preferences.user().colors; },
      .verifySignatures = [this] { return globals.preferences.user().verifySignatures; },
      .enableNotifications = [this] { return globals.enableNotifications.load(); },
      .inspectSignature = [this](const std::weak_ptr<HXApplication>& app) { inspectSignature(app); },
  };
}

Composition::~Composition() {
  // The queues' blocks use the members: they end first, the readers before the rest.
  socketcon.closesocketcon();
  recvKextCon.stop();
  channel.closeChannel();
  globals.recvDaemonQueue.stop();
  globals.synchronizedNotification.stop();
  signatureQueue.stop();
  globals.globalBackground.stop();
  globals.connectionBuilding.stop();
  globals.findFlag.stop();
}

void Composition::launch() {
  frontEnd.mainLoop.post([this] {
    appDelegate.applicationDidFinishLaunching();
    // The country zones load in the background, once the log is the user's file; look-ups answer
    // nothing until they are in.
    globals.globalBackground.async([this] {
      flagsController.awakeFromNib();
      ports.logger.log("[HALVEX AGENT] country zones loaded: " + std::to_string(flagsController.networkCount()) +
                       " networks");
    });
    // The users and their pictures, apart: a slow password database must not hold the zones.
    globals.globalBackground.async([this] { alertFacts.awakeFromNib(); });
  });
}

void Composition::startReadConnection() {
  if (readConnectionStarted_.exchange(true)) return;
  recvKextCon.async([this] { socketcon.buildsocketcon(); });
}

void Composition::inspectSignature(const std::weak_ptr<HXApplication>& weak) {
  const auto app = weak.lock();
  if (!app) return;
  // The app's signature fields belong to the library: read and written under its lock.
  auto apply = [this](HXApplication& target, const SignatureFacts& facts) {
    std::lock_guard lock(appsLibrary.libraryLock());
    target.appSignatureInfo = facts.appSignatureInfo;
    target.appIsSigned = facts.appIsSigned;
    target.appHasValidSignature = facts.appHasValidSignature;
    target.appIsSignedByApple = facts.appIsSignedByApple;
  };
  SignatureFacts current;
  std::string path;
  bool isBinary = false;
  {
    std::lock_guard lock(appsLibrary.libraryLock());
    current = {app->appSignatureInfo, app->appIsSigned, app->appHasValidSignature, app->appIsSignedByApple};
    path = app->appPath;
    isBinary = !app->appIsBundle;
  }
  const auto now =
      signatureInspector.getSignatureInfo(path, isBinary, true, current, [weak, apply](const SignatureFacts& facts) {
        if (const auto later = weak.lock()) apply(*later, facts);
      });
  apply(*app, now);
}

}  // namespace halvex
