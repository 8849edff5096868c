#pragma once
// What the rule records need from the rest of the program: the main loop for their timers, the
// in-process notification centre, the platform ports, and a few preferences read when needed.
// The composition makes one and keeps it alive longer than every record made with it.

#include <functional>
#include <memory>

#include "runtime/Graphics.h"

namespace halvex {

class MainLoop;
class NotificationCenter;
class FileSystem;
class FileIcons;
class HostNames;
class BundleInfo;
class HXApplication;

// The five label colours, one per rule state, as the preferences hold them.
struct LabelColors {
  Color color0 = Color::rgba(0, 0.8, 0, 1);
  Color color1 = Color::redColor();
  Color color2 = Color::orangeColor();
  Color color3 = Color::magentaColor();
  Color color4b = Color::labelColor();
};

struct RulesContext {
  MainLoop& mainLoop;
  NotificationCenter& notificationCenter;
  const FileSystem& fileSystem;
  const FileIcons& fileIcons;
  const HostNames& hostNames;
  const BundleInfo& bundleInfo;

  // Preferences. An empty function answers the default: the default colours, signatures not
  // verified, alerts enabled.
  std::function<LabelColors()> labelColors;
  std::function<bool()> verifySignatures;
  std::function<bool()> enableNotifications;

  // Starts the background inspection of an app's signature; it writes the app's signature
  // fields later, on the main loop. Empty: no inspection is available.
  std::function<void(std::weak_ptr<HXApplication>)> inspectSignature;

  LabelColors currentLabelColors() const { return labelColors ? labelColors() : LabelColors{}; }
  bool verifySignaturesIsOn() const { return verifySignatures && verifySignatures(); }
  bool notificationsEnabled() const { return !enableNotifications || enableNotifications(); }
};

}  // namespace halvex
