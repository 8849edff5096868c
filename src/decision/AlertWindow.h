#pragma once
// The alert's view state: one member per control of the alert window, under the control's name.
// The request's controller writes it on the main loop and raises its change signal; a front end
// draws it and calls the controller's actions, never writing it itself.

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/Controls.h"
#include "runtime/Graphics.h"

namespace halvex {

// The items of `timeButton`, by index: `timeForever`, `timeNextLogin`, `timeMenuItem` (minutes of
// the slider) and `timeMenuChooser` (the item that holds the slider).
inline constexpr std::int64_t kTimeForever = 0;
inline constexpr std::int64_t kTimeNextLogin = 1;
inline constexpr std::int64_t kTimeMenuItem = 2;
inline constexpr std::int64_t kTimeMenuChooser = 3;

// The rows of `actionMatrix`: what an answer holds for.
inline constexpr std::int64_t kRowApp = 0;
inline constexpr std::int64_t kRowPort = 1;
inline constexpr std::int64_t kRowAddress = 2;
inline constexpr std::int64_t kRowNetwork = 3;

// "This app for 1 minute", "... 2 minutes": whole minutes, singular below 2.
inline std::string minutesTitle(const std::string& lead, double minutes) {
  const auto n = static_cast<std::int64_t>(minutes);
  return lead + std::to_string(n) + (n < 2 ? " minute" : " minutes");
}

struct AlertWindow {
  // The window: shown, above every other window, centred on the screen.
  bool shown = false;
  bool onTop = false;
  bool centred = false;
  bool movableByBackground = false;
  Rect frame{0, 0, 480, 175};
  // The screen the window is centred on; the front end supplies it (fixed when headless).
  Rect screenFrame{0, 0, 1280, 800};
  // "aqua", "darkAqua" or "vibrantDark"; a white background for the light look.
  std::string appearance;
  bool whiteBackground = false;
  std::string backgroundColor;

  // How long an answer about the whole app holds.
  PopUpButton timeButton;
  Slider timeSlider;
  MenuItem timeMenuItem;
  // Quiet time after an answer about the address.
  Button quietButton;
  Slider quietSlider;

  // The scope of the answer: app, port, address, network.
  Matrix actionMatrix;
  View matrixBox;
  TextLabel matrixlabel1;
  TextLabel matrixlabel2;
  // The three IPv4 networks offered for row 3.
  PopUpButton matrixlabel3;
  MenuItem matrixnetA;
  MenuItem matrixnetB;
  MenuItem matrixnetC;
  // For IPv6 the person types the network; item 0 of the pop-up is its title.
  PopUpButton matrixlabel3V6;
  MenuItem matrixlabel3V6Title;
  TextField addSubnetString;
  View addSubnetCaution;
  TextLabel addSubnetError;

  Button advancedPass;
  Button advancedBlock;
  TextLabel moreOptionsString;
  // The time left: the pass bar when the expiry passes, else the block bar.
  ProgressIndicator timeoutProgress;
  ProgressIndicator timeoutProgressBlock;

  MenuItem soundMenuItem;
  MenuItem terminateProcessMenuItem;
  MenuItem copyHostnameToClipboardItem;
  TextLabel manageAtNetworkLevelString;
  Button manageAtNetworkLevelButton;

  // The detail labels.
  TextLabel processIP;
  TextLabel processPort;
  TextLabel processPort2;
  TextLabel processPath;
  TextLabel processID;
  TextLabel processUID;
  TextLabel processName;
  TextLabel processSignatureAuthor;
  TextLabel processSignatureValidity;

  // The six fields of the sentence as far as known, and the sentence built from them. The
  // sentence is data: no front end may read it as markup.
  std::string attributedAppName;
  std::string attributedProtocol;
  std::string attributedAddress;
  std::string attributedPort;
  std::string attributedUser;
  std::string attributedNation;
  std::string viaString;
  std::string currentHostName;
  AttributedString descriptionString;
  // Images, filled as the facts arrive.
  Image processImage;
  Image viaAppIcon;
  Image userPicture;
  TextLabel userName;
  Image nationFlag;
  View flagBackground;
  // The signature lamps: at most one is shown.
  View ledAppleSignature{true};
  View ledNoSignature{true};
  View ledInvalidSignature{true};
};

}  // namespace halvex
