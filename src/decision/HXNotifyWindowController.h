#pragma once
// The controller of one open request: holds its parameters, decides it (by the rules or, with
// alerts off, by passing and learning the app), and when no rule settles it runs the alert: opens
// it, runs its timers, and turns the answer, the expiry or the silencing into a reply and a rule,
// then lets the next request in by resuming the synchronised queue. The alert's controls are
// plain view state (`window`); its actions are the operations below, on the main loop.

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "decision/AlertFacts.h"
#include "decision/AlertPresenter.h"
#include "decision/AlertWindow.h"
#include "decision/DecisionContext.h"
#include "link/RequestLine.h"
#include "runtime/MainLoop.h"
#include "runtime/Signal.h"

namespace halvex {

class HXApplication;

// The menus of the alert whose opening pauses its time.
enum class AlertMenu { process, time, networks, networksV6 };

class HXNotifyWindowController : public std::enable_shared_from_this<HXNotifyWindowController> {
 public:
  explicit HXNotifyWindowController(DecisionContext& context);

  // ---- The request ----

  // Stores the request's parameters, then starts the decision. On the synchronised queue, which
  // the intake has suspended.
  void setNotifyParameters(Request request);
  // Finishes the request: its controller leaves notifyControllers and the queue runs on.
  void resumeQueue(const std::string& tag);
  // Sends `suffix` after the line as received.
  void reply(std::string_view suffix);

  // Decides the request by the rules of the managed apps: replies and finishes it, answers for an
  // app in quiet time, or hands it to the alert with the queue still held.
  void checkExistingRules();
  // Whether the path belongs to a managed app, and which one (see findAppForPath).
  bool appExistsInGlobalArray(const std::string& path) const;
  std::shared_ptr<HXApplication> getAppFromGlobalArray(const std::string& path) const;

  // ---- The alert's lifecycle, on the main loop ----

  void windowDidLoad();
  void mostra();
  void decreaseIndicator();
  void expireTimeout();
  void stoppaTimeout();
  void riprendiTimeout();
  void stopAndRestartTimeout();
  // Keeps size and position, clears `notificationOnScreen`, empties and closes the window. Also
  // what a window closed by the window manager does: the expiry still answers the request.
  void closeNotify();
  void updateNotifyWindowGlobalSize();
  void svuotaTutto();
  void resizeNotification();
  void clickMoreOptions();
  void clickSoundBtn();
  // Asks, in a sheet, whether to switch alerts off.
  void clickSilenceBtn();
  void silentlyPass();
  void menuWillOpen(AlertMenu menu);
  void menuDidClose(AlertMenu menu);
  // The user's picture and name, found off the main loop; a negative uid shows the computer.
  void setImageForUserWithUID(std::int32_t uid);
  // The person asks who signed the program: the lamps light when the answer is in.
  void clickGetSignatureInfo();
  void getSignatureInfo();
  // The sentence from the six fields as they stand, the emphasised ones bold in the label colour.
  static AttributedString generateAttributedDescriptionWithProc(const std::string& proc, const std::string& prot,
                                                                const std::string& addr, const std::string& port,
                                                                const std::string& user, const std::string& nation);
  // The image clipped to the ellipse of the size.
  static Image arrotonda(Image image, double width, double height);
  // The firewall options' slot: nothing schedules it until those options exist.
  void managerTimer() {}

  // ---- The decision, on the main loop ----

  // The two buttons; any other sender does nothing.
  void userAction(const Button& sender);
  void selectActionMatrix(std::int64_t row);
  // The person picked item `index` of the IPv4 networks.
  void selectMatrixLabel3(std::int64_t index);
  void updateWithSlider(double minutes);
  // `timeButton` changed to item `index`.
  void clickPopupButton(std::int64_t index);
  void rememberPopupMenu();
  void showHideQuietSlider(bool on);
  void updateQuietSlider(double seconds);
  // The text of `addSubnetString` changed.
  void setSubnetV6(const std::string& text);
  void updateMatrixGUI();
  void updateAdvancedBtnLabels();
  void updateMoreOptionsString();
  // The reply and the rule of a decision: choice 0 passes the app, 1 blocks it, 4 makes a rule
  // (`action` "pass" or "block", `iporport` "IP" or "Port"); any other choice does nothing.
  // `timervalue` is accepted and ignored; `isAuto` makes a whole-app verdict last 30 seconds.
  void sendUserChoice(std::int64_t choice, std::optional<std::string> action, std::optional<std::string> iporport,
                      const std::string& timervalue, bool isAuto, const std::string& subnet);

  // The process menu: the commands run off the main loop, the copies go to the clipboard.
  void killProcess();
  void revealAppInFinder();
  void copyIPToClipboard();
  void copyPortToClipboard();
  void copyPathToClipboard();
  void copyHostnameToClipboard();

  // Whether the alert waits for its decision (from its opening to its ending).
  bool alertIsOpen() const { return alertOpen_; }
  // The suffix of the reply sent for this request, once sent.
  const std::string& replySuffix() const { return lastReplySuffix_; }

  Request parameters;
  // True until the request is answered without showing anything.
  std::atomic<bool> mostro{true};
  // The alert's controls, on the main loop only.
  AlertWindow window;
  // Raised on the main loop after every change of `window`.
  Signal<> changed;
  bool notificationIsDisplayed = false;
  static constexpr double startSize = 175.0;
  static constexpr double resizeSize = 197.0;

 private:
  void applyResponsibleApp();
  void passAndLearn();
  // The replies the rules of the managed apps give, and a quiet app's answer; true when the
  // request has been answered. Under the library's lock.
  bool answerByRules();
  // The tests of one rule string of an app in state 4; true when a reply went out.
  bool walkRule(const std::string& rule, std::int64_t state);
  // Answers for an app in quiet time and remembers the address; the caller ends the request.
  // `listWalked`: the rule walk has just passed over the app's whole list without a hit, so the
  // address is not in it.
  void answerQuiet(HXApplication& app, char kind, bool listWalked);
  void openAlert();
  // Claims the alert's one ending; false when it has ended already.
  bool claimEnding();
  // The last step of every ending, after the queue has been resumed.
  void finishAlert(AlertEnding how);
  AlertFacts::Deliver factDelivery();
  void startFactLookUps(const std::string& viaPath);
  void fillNetworks();
  void startTimers();
  void cancelTimers();
  void updateDescription();
  // Rebuilds the sentence, redraws a shown alert and tells the listeners.
  void refresh();
  void applyAppDuration(HXApplication& app, bool isAuto) const;
  void addRuleEntry(HXApplication& app, bool isNew, const std::string& iporport, const std::string& entry,
                    const std::string& subnet);

  DecisionContext& context_;
  std::atomic<bool> alertOpen_{false};
  MainLoop::TimerId timeoutTimer_ = 0;
  MainLoop::TimerId indicatorTimer_ = 0;
  MainLoop::TimerId managerTimer_ = 0;
  std::string lastReplySuffix_;
  // The fields the sentence was last built from.
  std::array<std::string, 6> describedFields_;
  // Found on the queue before the alert opens.
  std::string userName_;
  bool consoleUsersProcess_ = false;
};

}  // namespace halvex
