#pragma once
// One managed app: its identity, its rule state and rule entries, its timed rule and quiet time,
// and the view-side facts (icon, label colour) that the lists bind to.
//
// Records are shared between lists, so they exist only behind std::shared_ptr (create or
// initWithAppName). The main loop and the synchronised queue both touch them; scalar flags are
// atomics, while the strings and arrays follow the queue discipline of the library.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "rules/AtomicField.h"
#include "rules/RulesContext.h"
#include "runtime/Graphics.h"
#include "runtime/MainLoop.h"

namespace halvex {

class HXApplication : public std::enable_shared_from_this<HXApplication> {
  struct Key {
    explicit Key() = default;
  };

 public:
  using TimerId = MainLoop::TimerId;

  // Every field at its default, for readers of stored configurations.
  static std::shared_ptr<HXApplication> create(const RulesContext& context);
  // A new app: the defaults, then the given facts, the file test, the icon, the label colour,
  // the signature facts and the system-binary test. The state stays 0.
  static std::shared_ptr<HXApplication> initWithAppName(const RulesContext& context, std::string appName,
                                                        std::vector<std::string> appBinaries, bool appIsBundle,
                                                        bool appIsBlocked, std::string appPath);

  HXApplication(Key, const RulesContext& context);
  ~HXApplication();
  HXApplication(const HXApplication&) = delete;
  HXApplication& operator=(const HXApplication&) = delete;

  // "unknownapp" while `appExists` is false, otherwise the desktop's icon of `appPath`.
  void setIcon();
  // Marks the app signed and valid, then, with signature verification on and the file present,
  // starts an inspection that may say otherwise later.
  void getSignatureInfo();
  // Sets the rule state and everything that follows from it. A pure state (0, 1, and any value
  // outside 1 to 4, which behaves as 0 but is stored) drops the entries; every state but 4 ends
  // quiet time and both timers.
  void setRule(std::int64_t state);
  // Replaces the timed rule's timer by a one-shot one that calls expireApp. Leaves
  // `appHasTimer` to the caller.
  void setAppTimer(double seconds);
  void stopAppTimer();
  // Posts "expireApp" with the user info {appName: appName} on the notification centre.
  void expireApp();
  // "pass" or "block" starts that kind of quiet time; any other text leaves the flags. A one-shot
  // timer of `time` seconds then calls expireQuiet, unless one runs already: that one goes on and
  // ends the quiet time, which a second call therefore never extends.
  void setQuiet(std::string_view quiet, double time);
  void expireQuiet();
  // Act on `app`, not on the receiver: keep only the block ("#") or only the pass ("@") entries.
  void removePassedMatchesWithApp(HXApplication& app) const;
  void removeBlockedMatchesWithApp(HXApplication& app) const;
  void updateLabelColor();

  // Not a bundle, and the path lies in one of the system's binary folders.
  static bool isSystemBinaryPath(std::string_view appPath, bool appIsBundle);

  const RulesContext& context() const { return *context_; }

  // Fields, in the order of the stored record.
  std::string appName;
  std::vector<std::string> appBinaries;
  AtomicField<bool> appIsBundle{false};
  Image appImage;
  AtomicField<bool> appIsBlocked{false};
  AtomicField<std::int64_t> appIsBlockedOrAllowed{0};
  AtomicField<std::int64_t> appHits{0};
  AtomicField<std::int64_t> appHitsMinimumToShow{9};
  std::string appPath;
  AtomicField<bool> appCounterIsVisible{false};
  std::string appRelatedBundleName;
  std::map<std::string, std::int64_t> appConnections;
  std::string appSignatureInfo;
  AtomicField<bool> appIsSigned{false};
  AtomicField<bool> appHasValidSignature{false};
  AtomicField<bool> appIsSignedByApple{false};
  AttributedString appLocalizedName;
  AttributedString appLocalizedNameCentered;
  AtomicField<bool> appIsPersistent{true};
  AtomicField<TimerId> timer{0};       // 0: idle or invalidated
  AtomicField<TimerId> quietTimer{0};  // 0: idle or invalidated
  AtomicField<bool> appHasTimer{false};
  Color appLabelColor = Color::labelColor();
  std::vector<std::string> appMatches;
  std::vector<std::string> appMatchesBackup;
  AtomicField<bool> appIsYellow{false};
  AtomicField<bool> appIsQuietPass{false};
  AtomicField<bool> appIsQuietBlock{false};
  AtomicField<bool> appGreenShadow{false};
  AtomicField<bool> appRedShadow{false};
  AtomicField<bool> appExists{false};
  AtomicField<bool> appIsSystemBinary{false};

 private:
  // Quiet flags off, both timers invalidated, no timed rule.
  void clearQuietAndTimers();
  void invalidate(AtomicField<TimerId>& field);
  TimerId scheduleOneShot(double seconds, AtomicField<TimerId> HXApplication::*field, void (HXApplication::*action)());

  const RulesContext* context_;
};

}  // namespace halvex
