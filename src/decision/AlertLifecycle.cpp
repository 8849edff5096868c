// The alert from its opening to its closing: the window's set-up, the opening's steps in order,
// the two timers and what touching the alert does to them, the expiry, silencing, size and
// position.

#include <algorithm>
#include <chrono>
#include <cmath>

#include "decision/AlertAnswers.h"
#include "decision/AlertFacts.h"
#include "decision/AlertPresenter.h"
#include "decision/HXNotifyWindowController.h"
#include "link/ProcessAttribution.h"
#include "link/managesocketagent.h"
#include "rules/AppPaths.h"

namespace halvex {
namespace {

std::string wholeNumber(double value) { return std::to_string(static_cast<std::int64_t>(std::floor(value))); }

std::chrono::nanoseconds seconds(double value) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(value));
}

}  // namespace

void HXNotifyWindowController::windowDidLoad() {
  const auto configuration = context_.globals.preferences.configuration();
  const auto user = context_.globals.preferences.user();
  window.movableByBackground = true;
  switch (user.currentTheme) {
    case 0:
      window.appearance = "aqua";
      window.whiteBackground = true;
      break;
    case 1:
      window.appearance = "vibrantDark";
      window.whiteBackground = false;
      break;
    default: {
      const bool dark = context_.prefersDark && context_.prefersDark();
      window.appearance = dark ? "darkAqua" : "aqua";
      window.whiteBackground = !dark;
    }
  }
  window.frame.height = configuration.notificationWindowHeight2;

  window.timeSlider.minValue = 1;
  window.timeSlider.maxValue = 1440;
  // A stored time the slider cannot show (0 from a hand-made file, say) would make a timed rule
  // that ends at once: the slider holds it within its range.
  window.timeSlider.value = std::clamp(static_cast<double>(configuration.notificationDefaultTime),
                                       window.timeSlider.minValue, window.timeSlider.maxValue);
  window.timeMenuItem.title = minutesTitle("This app for ", window.timeSlider.value);
  window.timeButton.items = {"This app forever", "This app until next logout", window.timeMenuItem.title,
                             "Set minutes..."};
  window.timeButton.select(configuration.notificationDefaultChoice == kTimeMenuChooser
                               ? kTimeMenuItem
                               : configuration.notificationDefaultChoice);

  window.quietSlider.hidden = true;
  window.quietSlider.minValue = 1;
  window.quietSlider.maxValue = configuration.quietMaxTime;
  window.quietSlider.value = configuration.quietTime;
  window.quietButton.title = "Silence for " + wholeNumber(configuration.quietTime) + " seconds";
}

void HXNotifyWindowController::mostra() {
  auto& globals = context_.globals;
  const auto configuration = globals.preferences.configuration();
  const auto user = globals.preferences.user();
  const Request& r = parameters;
  const bool ipv4 = r.processIP.find('.') != std::string::npos;

  // 1. Above every other window.
  window.shown = true;
  window.onTop = true;
  notificationIsDisplayed = true;
  window.backgroundColor = "windowBackgroundColor";
  // 2. The facts at hand.
  window.attributedAddress = r.processIP;
  window.attributedPort = r.processPort;
  window.attributedUser = context_.processOwners.userName(r.processUID).value_or(std::to_string(r.processUID));
  window.attributedProtocol = r.processUDPorTCP;
  window.attributedNation.clear();
  // 3. and 4. The scope's rows; an IPv6 address has no networks to offer until one is typed.
  fillNetworks();
  if (!ipv4 && globals.lastActionRow == kRowNetwork) globals.lastActionRow = kRowAddress;
  window.matrixlabel3.hidden = !ipv4;
  window.matrixlabel3V6.hidden = ipv4;
  window.actionMatrix.cellEnabled = {true, true, true, ipv4};
  // 5. With the box of scopes closed every alert asks about the app, for the first time item.
  if (!globals.moreOptionsOpen) {
    window.matrixBox.hidden = true;
    window.actionMatrix.selectedRow = kRowApp;
    window.timeButton.select(kTimeForever);
    globals.preferences.updateConfiguration([](auto& c) { c.notificationDefaultChoice = kTimeForever; });
  } else {
    window.matrixBox.hidden = false;
    window.actionMatrix.selectedRow = globals.lastActionRow;
  }
  // 6.
  updateMatrixGUI();
  updateMoreOptionsString();
  // 7. The colour of the bar tells what the expiry will do.
  for (auto* bar : {&window.timeoutProgress, &window.timeoutProgressBlock}) {
    bar->minValue = 0;
    bar->maxValue = configuration.notificationsTimeOut;
    bar->value = configuration.notificationsTimeOut;
  }
  window.timeoutProgress.hidden = !configuration.passAppWhenNotificationExpires;
  window.timeoutProgressBlock.hidden = configuration.passAppWhenNotificationExpires;
  // 8.
  startTimers();
  // 9. The app's name, and the app a helper service speaks for.
  window.attributedAppName = shortNameOfPath(r.processName);
  window.viaString.clear();
  std::string viaPath;
  if (!globals.automaticXPC) {
    viaPath = viaPathFor(r.processName, std::to_string(r.responsibleApp),
                         [this](std::int32_t pid) { return context_.mymanagesocketagent.infoprocess(pid); });
  }
  if (!viaPath.empty()) {
    window.viaString = " via " + shortNameOfPath(viaPath);
    window.viaAppIcon = Image::named("genericapp");
  }
  // 10. to 13. and 17. The facts that take time arrive later; 13. an IPv6 address has no flag.
  window.flagBackground.hidden = !ipv4;
  startFactLookUps(viaPath);
  // 14.
  window.quietButton.state = false;
  window.quietSlider.hidden = true;
  window.processSignatureAuthor.text.clear();
  window.processSignatureValidity.text.clear();
  window.screenFrame = context_.screenFrame ? context_.screenFrame() : window.screenFrame;
  window.frame.x = window.screenFrame.x + (window.screenFrame.width - window.frame.width) / 2;
  window.frame.y = window.screenFrame.y + (window.screenFrame.height - window.frame.height) / 2;
  window.centred = true;
  // 15. The detail labels.
  window.processIP.text = r.processIP;
  window.processPort.text = r.processPort;
  window.processPort2.text = r.processPort;
  window.processPath.text = r.processName;
  window.processID.text = std::to_string(r.processPid);
  window.processUID.text = std::to_string(r.processUID);
  window.processName.text = window.attributedAppName + window.viaString;
  // 16. Only a process of the console user may be ended from here.
  window.terminateProcessMenuItem.hidden =
      !terminateProcessMenuItemVisible(std::to_string(r.processUID), context_.processOwners);
  window.copyHostnameToClipboardItem.hidden = window.currentHostName.empty();
  // 18. The firewall options' part of the window only with that interaction on.
  if (window.frame.height > 180 && !user.enableDovikInteraction) window.frame.height -= resizeSize;
  window.manageAtNetworkLevelString.hidden = !user.enableDovikInteraction;
  window.manageAtNetworkLevelButton.hidden = !user.enableDovikInteraction;
  // 19.
  if (configuration.popSound) context_.soundPlayer.play(configuration.soundName + ".aiff");

  // The presenter draws what it is shown; only the other listeners need telling.
  updateDescription();
  context_.alertPresenter.show(shared_from_this());
  changed();
}

AlertFacts::Deliver HXNotifyWindowController::factDelivery() {
  // A fact that arrives after the alert ended, or after the controller went, is dropped.
  std::weak_ptr<HXNotifyWindowController> weak = shared_from_this();
  MainLoop& loop = context_.globals.mainLoop;
  return [weak, &loop](AlertFacts::Change change) {
    loop.post([weak, change = std::move(change)] {
      const auto self = weak.lock();
      if (!self || !self->alertIsOpen()) return;
      change(self->window);
      self->refresh();
    });
  };
}

void HXNotifyWindowController::startFactLookUps(const std::string& viaPath) {
  const auto deliver = factDelivery();
  auto& facts = context_.alertFacts;
  facts.processIcon(parameters.processName, viaPath, deliver);
  facts.hostAndService(parameters, deliver);
  if (parameters.processIP.find('.') != std::string::npos) facts.country(parameters.processIP, deliver);
  setImageForUserWithUID(parameters.processUID);
}

void HXNotifyWindowController::setImageForUserWithUID(std::int32_t uid) {
  if (uid < 0) {
    window.userPicture = Image::named("NSComputer");
    return;
  }
  context_.alertFacts.userPicture(uid, factDelivery());
}

void HXNotifyWindowController::clickGetSignatureInfo() { getSignatureInfo(); }

void HXNotifyWindowController::getSignatureInfo() {
  if (alertIsOpen()) context_.alertFacts.signature(parameters.processName, factDelivery());
}

void HXNotifyWindowController::startTimers() {
  std::weak_ptr<HXNotifyWindowController> weak = shared_from_this();
  auto& loop = context_.globals.mainLoop;
  const double timeout = context_.globals.preferences.configuration().notificationsTimeOut;
  timeoutTimer_ = loop.scheduleTimer(seconds(timeout), false, [weak] {
    if (const auto self = weak.lock()) self->expireTimeout();
  });
  indicatorTimer_ = loop.scheduleTimer(seconds(1.0), true, [weak] {
    if (const auto self = weak.lock()) self->decreaseIndicator();
  });
}

void HXNotifyWindowController::cancelTimers() {
  auto& loop = context_.globals.mainLoop;
  if (timeoutTimer_) loop.cancelTimer(timeoutTimer_);
  if (indicatorTimer_) loop.cancelTimer(indicatorTimer_);
  timeoutTimer_ = indicatorTimer_ = 0;
}

void HXNotifyWindowController::decreaseIndicator() {
  window.timeoutProgress.value -= 1;
  window.timeoutProgressBlock.value -= 1;
  refresh();
}

void HXNotifyWindowController::expireTimeout() {
  if (!claimEnding()) return;
  cancelTimers();
  // The app as a whole, for a short while, whatever the alert had selected.
  const bool pass = context_.globals.preferences.configuration().passAppWhenNotificationExpires;
  sendUserChoice(pass ? 0 : 1, std::nullopt, std::nullopt, "", true, "");
  finishAlert(AlertEnding::expired);
}

void HXNotifyWindowController::stoppaTimeout() { cancelTimers(); }

void HXNotifyWindowController::riprendiTimeout() {
  if (!alertIsOpen()) return;
  // Timers still running would fire twice: a restart replaces them.
  cancelTimers();
  window.timeoutProgress.value = window.timeoutProgress.maxValue;
  window.timeoutProgressBlock.value = window.timeoutProgressBlock.maxValue;
  startTimers();
  refresh();
}

void HXNotifyWindowController::stopAndRestartTimeout() {
  stoppaTimeout();
  riprendiTimeout();
}

void HXNotifyWindowController::closeNotify() {
  updateNotifyWindowGlobalSize();
  context_.globals.notificationOnScreen = false;
  svuotaTutto();
  window.shown = false;
  changed();
}

void HXNotifyWindowController::updateNotifyWindowGlobalSize() {
  const Rect frame = window.frame;
  const Rect screen = window.screenFrame;
  context_.globals.preferences.updateConfiguration([&](auto& c) {
    c.notificationWindowHeight2 = frame.height;
    c.xoffset = frame.x - screen.width - screen.x;
    c.yoffset = frame.y - screen.height - screen.y;
  });
}

void HXNotifyWindowController::svuotaTutto() {
  window.processImage = {};
  window.viaAppIcon = {};
}

void HXNotifyWindowController::resizeNotification() {
  if (window.frame.height <= startSize) {
    window.frame.height += resizeSize;
  } else {
    window.frame.height -= resizeSize;
  }
  window.manageAtNetworkLevelString.text =
      window.frame.height <= startSize ? "show pf options..." : "hide pf options...";
  stopAndRestartTimeout();
  refresh();
}

void HXNotifyWindowController::clickMoreOptions() {
  auto& globals = context_.globals;
  globals.moreOptionsOpen = !globals.moreOptionsOpen;
  const bool open = globals.moreOptionsOpen;
  globals.preferences.updateUser([open](auto& u) { u.showMoreOptions = open; });
  context_.userDefaults.setBool("showMoreOptions", open);
  if (!open) {
    window.actionMatrix.selectedRow = kRowApp;
    window.matrixBox.hidden = true;
    window.timeButton.select(kTimeForever);
    globals.preferences.updateConfiguration([](auto& c) { c.notificationDefaultChoice = kTimeForever; });
  } else {
    window.actionMatrix.selectedRow = globals.lastActionRow;
    window.matrixBox.hidden = false;
  }
  updateMatrixGUI();
  updateMoreOptionsString();
  stopAndRestartTimeout();
  refresh();
}

void HXNotifyWindowController::updateMoreOptionsString() {
  window.moreOptionsString.text = context_.globals.moreOptionsOpen ? "less options..." : "more options...";
}

void HXNotifyWindowController::clickSoundBtn() {
  bool on = false;
  context_.globals.preferences.updateConfiguration([&](auto& c) {
    c.popSound = !c.popSound;
    on = c.popSound;
  });
  if (on) context_.soundPlayer.play(context_.globals.preferences.configuration().soundName + ".aiff");
  refresh();
}

void HXNotifyWindowController::menuWillOpen(AlertMenu) {
  stoppaTimeout();
  window.soundMenuItem.title = context_.globals.preferences.configuration().popSound ? "Disable notification sound"
                                                                                     : "Enable notification sound";
  refresh();
}

void HXNotifyWindowController::menuDidClose(AlertMenu menu) {
  if (menu == AlertMenu::time) rememberPopupMenu();
  riprendiTimeout();
}

void HXNotifyWindowController::clickSilenceBtn() {
  if (!alertIsOpen()) return;
  stoppaTimeout();
  AlertDescription sheet;
  sheet.messageText = "Disable Notification Alerts?";
  sheet.informativeText =
      "Are you sure? If you disable notification alerts your all your mixed-state apps configurations will be "
      "modified and you will not be alerted in case an app makes an unknown connection. Halvex offers many way to "
      "limit notification alerts frequency. Please run Halvex Configuration Assistant or documentation for more "
      "info.";
  sheet.buttons = {"Keep Alerts Enabled", "Disable Notification Alerts"};
  sheet.icon = "NSCaution";
  std::weak_ptr<HXNotifyWindowController> weak = shared_from_this();
  context_.dialogs.beginSheet("alert", sheet, [weak](AlertResponse response) {
    const auto self = weak.lock();
    if (!self || !self->alertIsOpen()) return;
    if (response.button != 1001) {
      self->riprendiTimeout();
      return;
    }
    if (self->managerTimer_) self->context_.globals.mainLoop.cancelTimer(self->managerTimer_);
    self->managerTimer_ = 0;
    self->context_.globals.notificationCenter.post("silenceNotifications");
    self->silentlyPass();
  });
}

void HXNotifyWindowController::silentlyPass() {
  if (!claimEnding()) return;
  cancelTimers();
  sendUserChoice(0, std::nullopt, std::nullopt, "", false, "");
  finishAlert(AlertEnding::silenced);
}

}  // namespace halvex
